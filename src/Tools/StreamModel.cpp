#include "StreamModel.h"

#include <utility>

namespace parlowen {

namespace {

constexpr Phrase noConnection{"the backend cannot be reached", "连不上后端"};
constexpr Phrase signInRefused{"the backend does not take the sign-in", "后端不接受当前的登录"};
constexpr Phrase backendFailed{"the backend failed", "后端出错"};
constexpr Phrase brokenOff{"the answer broke off", "回答中断"};
constexpr Phrase withDetails{"%1 (%2)", "%1（%2）"};

} // namespace

QString answerFailureText(const AnswerEnd& end, Language language) {
    const Phrase* words = nullptr;
    switch (end.cause) {
    case AnswerEnd::Cause::None:
        return {};
    case AnswerEnd::Cause::NoConnection:
        words = &noConnection;
        break;
    case AnswerEnd::Cause::SignInRefused:
        words = &signInRefused;
        break;
    case AnswerEnd::Cause::BackendFailed:
        words = &backendFailed;
        break;
    case AnswerEnd::Cause::BrokenOff:
        words = &brokenOff;
        break;
    }
    const QString text = words->in(language);
    return end.details.isEmpty() ? text : withDetails.in(language, text, end.details);
}

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

void StreamModel::setOnGrounds(std::function<void(const QStringList&)> onGrounds) {
    const std::lock_guard lock(mutex_);
    onGrounds_ = std::move(onGrounds);
}

void StreamModel::setOnEnd(std::function<void(const AnswerEnd&)> onEnd) {
    const std::lock_guard lock(mutex_);
    onEnd_ = std::move(onEnd);
}

// The copy that is handed out is gone before the next piece, so that a piece costs its own length.
void StreamModel::append(const QString& piece) {
    std::unique_lock lock(mutex_);
    responseText_ += piece;
    const QString text = responseText_;
    const auto onUpdate = onUpdate_;
    lock.unlock();
    if (onUpdate)
        onUpdate(text);
}

void StreamModel::ground(const QStringList& lines) {
    std::unique_lock lock(mutex_);
    const auto onGrounds = onGrounds_;
    lock.unlock();
    if (onGrounds)
        onGrounds(lines);
}

void StreamModel::complete(const AnswerEnd& end) {
    std::unique_lock lock(mutex_);
    const auto onEnd = onEnd_;
    const auto didComplete = didComplete_;
    lock.unlock();
    if (onEnd)
        onEnd(end);
    if (didComplete)
        didComplete(QStringLiteral("已完成"));
}

} // namespace parlowen
