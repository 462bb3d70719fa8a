#include "StreamModel.h"

#include <utility>

namespace parlowen {

StreamModel::StreamModel(qint64 id_, qint64 type_, QString txt_, QString role_, QString original_language_,
                         QString trans_language_)
    : id(id_)
    , type(type_)
    , txt(std::move(txt_))
    , role(std::move(role_))
    , original_language(std::move(original_language_))
    , trans_language(std::move(trans_language_)) {}

QString StreamModel::responseText() const {
    const std::lock_guard lock(mutex_);
    return responseText_;
}

void StreamModel::setOnUpdate(std::function<void(const QString&)> onUpdate) {
    const std::lock_guard lock(mutex_);
    onUpdate_ = std::move(onUpdate);
}

void StreamModel::setDidComplete(std::function<void(const QString&)> didComplete) {
    const std::lock_guard lock(mutex_);
    didComplete_ = std::move(didComplete);
}

void StreamModel::append(const QString& piece) {
    std::unique_lock lock(mutex_);
    responseText_ += piece;
    const QString text = responseText_;
    const auto onUpdate = onUpdate_;
    lock.unlock();
    if (onUpdate)
        onUpdate(text);
}

void StreamModel::complete() {
    std::unique_lock lock(mutex_);
    const auto didComplete = didComplete_;
    lock.unlock();
    if (didComplete)
        didComplete(QStringLiteral("已完成"));
}

} // namespace parlowen
