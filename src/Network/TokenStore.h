#pragma once

#include <Foundation/SecretKeeper.h>
#include <Foundation/SerialQueue.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace parlowen {

class UserDefaults;

/// The sign-in token: in the settings store under "LOGIN_TOKEN", or with a keeper of secrets, where the store then only
/// notes which of its secrets counts ("LOGIN_TOKEN_KEPT"), so that one that could not be taken away is worth nothing.
/// A keeper that does not answer holds nobody up for long: what it has not taken in time lies in the store until it
/// has, and what it has not given in time is as good as absent until it is there. Any thread.
class TokenStore {
public:
    /// The defaults outlive it. Without a keeper everything is in the store.
    explicit TokenStore(UserDefaults& defaults, std::unique_ptr<SecretKeeper> keeper = nullptr);
    /// What the keeper has not taken by now is in the store.
    ~TokenStore();
    TokenStore(const TokenStore&) = delete;
    TokenStore& operator=(const TokenStore&) = delete;

    /// The first read of a token that the keeper has waits for it, a moment at most.
    std::optional<QString> read();
    void write(const std::optional<QString>& token);
    /// Makes sure that the next start finds what was written; waits for the keeper, a moment at most.
    void flush();

    /// Calls `arrived` on the main thread, once, when the keeper gives a token that a read did not get in time; true
    /// when there is one to wait for.
    bool awaitLate(std::function<void()> arrived);

private:
    struct Kept {
        QString id;
        std::optional<QString> token;
    };
    void enqueue(std::function<void()> work);
    void moveToKeeper(const QString& token, bool isInStore);
    void keepPending(const Kept& kept);
    void fetch(const QString& id);
    void putIntoStore();

    UserDefaults& defaults_;
    const std::unique_ptr<SecretKeeper> keeper_;
    const QString owner_; ///< the store's file
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Kept> pending_; ///< on its way to the keeper
    bool pendingIsInStore_ = false;
    std::optional<Kept> known_; ///< what the keeper gave or took
    QString asked_;             ///< the id that the keeper was asked for last
    bool isAnswered_ = false;   ///< it has answered that, in whatever way
    std::function<void()> arrived_;
    int jobs_ = 0;                       ///< on the queue
    std::unique_ptr<SerialQueue> queue_; ///< ends first
};

} // namespace parlowen
