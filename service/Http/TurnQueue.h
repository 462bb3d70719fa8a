#pragma once

#include "Workers.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace parlowen::service {

/// Threads of its own for work of users that takes long. One piece of a user's runs at a time, and the users who wait
/// take turns, so that nobody's many hold up another's one. Thread-safe.
class TurnQueue {
public:
    explicit TurnQueue(int threads);
    ~TurnQueue(); ///< stops
    TurnQueue(const TurnQueue&) = delete;
    TurnQueue& operator=(const TurnQueue&) = delete;

    void add(std::int64_t user, QueuedJob job);
    /// Lets what runs finish, and gives up what waits and what still comes.
    void stop();

    /// Runs a function in its user's turn and gives its result, or its exception, back on the caller's executor; none
    /// when the queue was stopped before.
    template<typename Function>
    boost::asio::awaitable<std::optional<std::invoke_result_t<Function>>> run(std::int64_t user, Function function) {
        return onQueue([this, user](QueuedJob job) { add(user, std::move(job)); }, std::move(function));
    }

private:
    using Waiting = std::map<std::int64_t, std::deque<QueuedJob>>;

    void work();
    Waiting::iterator next();

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    Waiting waiting_; ///< by user; no queue is empty
    std::set<std::int64_t> running_;
    std::int64_t lastUser_ = 0; ///< whose turn was last
    std::vector<std::thread> threads_;
};

} // namespace parlowen::service
