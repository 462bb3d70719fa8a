#include "HashingQueue.h"

#include <algorithm>
#include <sys/resource.h>
#include <utility>

namespace parlowen::service {

namespace {

constexpr int strangersNice = 3;

template<typename Queue>
bool holds(const Queue& queue, const std::string& number) {
    return std::any_of(queue.begin(), queue.end(), [&](const auto& waiting) { return waiting.number == number; });
}

} // namespace

HashingQueue::HashingQueue() {
    for (const bool forStrangers : {true, false, false})
        threads_.emplace_back([this, forStrangers] { work(forStrangers); });
}

HashingQueue::~HashingQueue() { stop(); }

void HashingQueue::stop() {
    std::vector<Job> dropped;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        for (Waiting& waiting : known_)
            dropped.push_back(std::move(waiting.job));
        for (auto& [peer, queue] : strangers_)
            for (Waiting& waiting : queue)
                dropped.push_back(std::move(waiting.job));
        known_.clear();
        strangers_.clear();
        changed_.notify_all();
    }
    for (const Job& job : dropped)
        job(false);
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void HashingQueue::add(const Place& place, Job job) {
    Job dropped = job;
    {
        const std::lock_guard lock(mutex_);
        const std::string number = place.known ? place.peer + " " + place.number : place.number;
        if (!stopping_ && place.known && known_.size() < placesOfKnown && !holds(known_, number)) {
            known_.push_back({number, std::exchange(dropped, {})});
        } else if (!stopping_ && !place.known && !holds(strangers_[place.peer], number)) {
            Job evicted = strangersWaiting_ < placesOfStrangers ? Job() : makeRoomFor(place.peer);
            if (strangersWaiting_ < placesOfStrangers) {
                strangers_[place.peer].push_back({number, std::move(dropped)});
                ++strangersWaiting_;
                dropped = std::move(evicted);
            }
        }
        std::erase_if(strangers_, [](const auto& entry) { return entry.second.empty(); });
        changed_.notify_all();
    }
    if (dropped)
        dropped(false);
}

/// The newest of the peer that has most places, where that peer has at least two more than the one who comes.
HashingQueue::Job HashingQueue::makeRoomFor(const std::string& peer) {
    const auto most = std::max_element(strangers_.begin(), strangers_.end(), [](const auto& left, const auto& right) {
        return left.second.size() < right.second.size();
    });
    if (most == strangers_.end() || most->second.size() < strangers_[peer].size() + 2)
        return {};
    Job job = std::move(most->second.back().job);
    most->second.pop_back();
    --strangersWaiting_;
    return job;
}

HashingQueue::Job HashingQueue::next(bool forStrangers) {
    Job job;
    if (!forStrangers && !known_.empty()) {
        job = std::move(known_.front().job);
        known_.pop_front();
    } else if (forStrangers && !strangers_.empty()) {
        auto turn = strangers_.upper_bound(lastPeer_);
        if (turn == strangers_.end())
            turn = strangers_.begin();
        lastPeer_ = turn->first;
        job = std::move(turn->second.front().job);
        turn->second.pop_front();
        --strangersWaiting_;
        if (turn->second.empty())
            strangers_.erase(turn);
    }
    return job;
}

void HashingQueue::work(bool forStrangers) {
    // Where processors are few, guesses do not slow down those who belong here. Concerns this thread alone.
    if (forStrangers)
        ::setpriority(PRIO_PROCESS, 0, strangersNice);
    std::unique_lock lock(mutex_);
    while (true) {
        if (const Job job = next(forStrangers)) {
            lock.unlock();
            job(true);
            lock.lock();
        } else if (stopping_) {
            return;
        } else {
            changed_.wait(lock);
        }
    }
}

} // namespace parlowen::service
