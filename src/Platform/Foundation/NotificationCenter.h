#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

namespace parlowen {

/// One posted notification.
struct Notification {
    QString name;
    const void* object = nullptr; ///< who it is about; compared, never used
    QJsonObject userInfo;
};

/// Delivers named notifications to observers, on the posting thread, in the order of their registration.
class NotificationCenter {
public:
    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// The one centre of the process.
    static NotificationCenter& shared();

    /// Calls the observer for each notification of that name until the context is destroyed. Main thread.
    void observe(const QString& name, QObject* context, std::function<void(const Notification&)> observer);

    /// Delivers the notification before it returns. Main thread.
    void post(const QString& name, const void* object = nullptr, const QJsonObject& userInfo = {});

private:
    struct Registry;
    std::unique_ptr<Registry> registry_;
};

} // namespace parlowen
