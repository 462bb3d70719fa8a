#include "TurnQueue.h"

namespace parlowen::service {

TurnQueue::TurnQueue(int threads) {
    for (int i = 0; i < threads; ++i)
        threads_.emplace_back([this] { work(); });
}

TurnQueue::~TurnQueue() { stop(); }

void TurnQueue::stop() {
    Waiting dropped;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        dropped.swap(waiting_);
        changed_.notify_all();
    }
    for (const auto& [user, queue] : dropped)
        for (const QueuedJob& job : queue)
            job(false);
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void TurnQueue::add(std::int64_t user, QueuedJob job) {
    {
        const std::lock_guard lock(mutex_);
        if (!stopping_) {
            waiting_[user].push_back(std::move(job));
            changed_.notify_all();
            return;
        }
    }
    job(false);
}

/// The next user's, after the one who was last, of whom nothing runs.
TurnQueue::Waiting::iterator TurnQueue::next() {
    auto turn = waiting_.upper_bound(lastUser_);
    for (std::size_t i = 0; i < waiting_.size(); ++i, ++turn) {
        if (turn == waiting_.end())
            turn = waiting_.begin();
        if (!running_.contains(turn->first))
            return turn;
    }
    return waiting_.end();
}

void TurnQueue::work() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto turn = next();
        if (turn == waiting_.end()) {
            changed_.wait(lock);
            continue;
        }
        const std::int64_t user = turn->first;
        const QueuedJob job = std::move(turn->second.front());
        turn->second.pop_front();
        if (turn->second.empty())
            waiting_.erase(turn);
        lastUser_ = user;
        running_.insert(user);
        lock.unlock();
        job(true);
        lock.lock();
        running_.erase(user);
        changed_.notify_all();
    }
}

} // namespace parlowen::service
