#include "NotificationCenter.h"

#include <QPointer>
#include <algorithm>
#include <utility>
#include <vector>

namespace parlowen {

struct NotificationCenter::Registry {
    struct Entry {
        QString name;
        QPointer<QObject> context;
        std::function<void(const Notification&)> observer;
    };
    std::vector<Entry> entries;
};

NotificationCenter::NotificationCenter()
    : registry_(std::make_unique<Registry>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::shared() {
    static NotificationCenter instance;
    return instance;
}

void NotificationCenter::observe(const QString& name, QObject* context,
                                 std::function<void(const Notification&)> observer) {
    registry_->entries.push_back({name, context, std::move(observer)});
}

void NotificationCenter::post(const QString& name, const void* object, const QJsonObject& userInfo) {
    std::erase_if(registry_->entries, [](const Registry::Entry& entry) { return entry.context.isNull(); });
    // A copy: an observer may add observers or destroy contexts.
    const std::vector<Registry::Entry> entries = registry_->entries;
    for (const Registry::Entry& entry : entries) {
        if (entry.name == name && entry.context)
            entry.observer({name, object, userInfo});
    }
}

} // namespace parlowen
