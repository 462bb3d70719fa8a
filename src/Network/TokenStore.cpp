#include "TokenStore.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/UserDefaults.h>

#include <QUuid>
#include <utility>

namespace parlowen {

namespace {

using std::chrono::milliseconds;

const char* const tokenKey = "LOGIN_TOKEN";
const char* const keptKey = "LOGIN_TOKEN_KEPT";
const char* const keptNowhere = "-"; // the keeper did not take it: it is not asked again before the next sign-in
constexpr milliseconds longestWait(1'500);

} // namespace

TokenStore::TokenStore(UserDefaults& defaults, std::unique_ptr<SecretKeeper> keeper)
    : defaults_(defaults)
    , keeper_(std::move(keeper))
    , owner_(defaults.filePath())
    , queue_(keeper_ ? std::make_unique<SerialQueue>("secrets") : nullptr) {
    if (!keeper_ || defaults_.string(keptKey))
        return;
    const QString plain = defaults_.string(tokenKey).value_or(QString());
    const std::lock_guard lock(mutex_);
    if (!plain.isEmpty())
        moveToKeeper(plain, true);
}

TokenStore::~TokenStore() {
    if (!keeper_)
        return;
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, longestWait, [this] { return jobs_ == 0; });
        if (pending_)
            putIntoStore();
    }
    keeper_->cancel();
    queue_.reset();
}

std::optional<QString> TokenStore::read() {
    std::unique_lock lock(mutex_);
    if (pending_)
        return pending_->token;
    if (const auto plain = defaults_.string(tokenKey))
        return plain;
    const QString id = defaults_.string(keptKey).value_or(QString());
    if (!keeper_ || id.isEmpty() || id == QLatin1String(keptNowhere))
        return std::nullopt;
    if ((!known_ || known_->id != id) && asked_ != id) {
        fetch(id);
        changed_.wait_for(lock, longestWait, [this] { return isAnswered_; });
    }
    return known_ && known_->id == id ? known_->token : std::nullopt;
}

/// Under the lock; the work takes it itself.
void TokenStore::enqueue(std::function<void()> work) {
    ++jobs_;
    queue_->async([this, work = std::move(work)] {
        work();
        const std::lock_guard lock(mutex_);
        --jobs_;
        changed_.notify_all();
    });
}

/// Under the lock.
void TokenStore::fetch(const QString& id) {
    asked_ = id;
    isAnswered_ = false;
    enqueue([this, id] {
        const auto found = keeper_->secret(owner_);
        const std::lock_guard lock(mutex_);
        if (asked_ != id)
            return;
        if (!found)
            consoleLog(QStringLiteral("⚠️ 密钥环没有给出登录信息: ") + found.error());
        const QString content = found ? found->value_or(QString()) : QString();
        if (content.startsWith(id + QLatin1Char(' '))) {
            known_ = {id, content.mid(id.size() + 1)};
            if (arrived_)
                onMain(std::exchange(arrived_, nullptr));
        }
        isAnswered_ = true;
    });
}

void TokenStore::write(const std::optional<QString>& token) {
    const std::lock_guard lock(mutex_);
    pending_.reset();
    known_.reset();
    asked_.clear();
    arrived_ = nullptr;
    const bool isKept = defaults_.string(keptKey).has_value();
    if (isKept)
        defaults_.remove(keptKey);
    if (keeper_ && token && !token->isEmpty()) {
        defaults_.remove(tokenKey);
        moveToKeeper(*token, false);
        return;
    }
    if (token)
        defaults_.setString(tokenKey, *token);
    else
        defaults_.remove(tokenKey);
    if (keeper_)
        enqueue([this] { keeper_->forget(owner_); });
}

/// Under the lock.
void TokenStore::moveToKeeper(const QString& token, bool isInStore) {
    pending_ = {QUuid::createUuid().toString(QUuid::Id128), token};
    pendingIsInStore_ = isInStore;
    enqueue([this, kept = *pending_] { keepPending(kept); });
}

void TokenStore::keepPending(const Kept& kept) {
    const Result<void> taken = keeper_->keep(owner_, kept.id + QLatin1Char(' ') + *kept.token);
    const std::lock_guard lock(mutex_);
    if (!pending_ || pending_->id != kept.id)
        return; // signed out, or in anew, meanwhile
    if (taken) {
        defaults_.setString(keptKey, kept.id);
        defaults_.remove(tokenKey);
        known_ = std::exchange(pending_, std::nullopt);
    } else {
        consoleLog(QStringLiteral("⚠️ 密钥环不可用，登录信息保存在设置文件中: ") +
                   taken.error());
        putIntoStore();
        defaults_.setString(keptKey, QString::fromLatin1(keptNowhere));
        pending_.reset();
    }
}

/// Under the lock, with a token that is pending.
void TokenStore::putIntoStore() {
    if (!std::exchange(pendingIsInStore_, true))
        defaults_.setString(tokenKey, *pending_->token);
}

void TokenStore::flush() {
    std::unique_lock lock(mutex_);
    if (pending_ && !pendingIsInStore_ && !changed_.wait_for(lock, longestWait, [this] { return !pending_; }))
        putIntoStore();
}

bool TokenStore::awaitLate(std::function<void()> arrived) {
    const std::lock_guard lock(mutex_);
    if (pending_ || asked_.isEmpty() || isAnswered_)
        return false;
    arrived_ = std::move(arrived);
    return true;
}

} // namespace parlowen
