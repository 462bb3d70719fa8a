#include "HashingQueue.h"

#include "Secrets.h"

#include "Limits.h"

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
        for (Lane* lane : {&known_, &strangers_})
            while (!lane->queues.empty())
                dropped.push_back(lane->pop(lane->queues.begin(), false));
        changed_.notify_all();
    }
    for (const Job& job : dropped)
        job(false);
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void HashingQueue::add(const Place& place, Job job) {
    Job dropped;
    {
        const std::lock_guard lock(mutex_);
        Lane& lane = place.known ? known_ : strangers_;
        const auto own = lane.queues.find(place.peer);
        const bool isTaken = stopping_ || (own != lane.queues.end() && holds(own->second, place.number));
        if (!isTaken && lane.waiting >= lane.places)
            dropped = lane.makeRoomFor(place.peer);
        if (isTaken || lane.waiting >= lane.places) {
            dropped = std::move(job);
        } else {
            lane.queues[place.peer].push_back({place.number, std::move(job)});
            ++lane.waiting;
            changed_.notify_all();
        }
    }
    if (dropped)
        dropped(false);
}

/// 0 for one that is not remembered.
std::uint64_t HashingQueue::Lane::turnOf(const std::string& peer) const {
    const auto known = turns.find(peer);
    return known == turns.end() ? 0 : known->second;
}

HashingQueue::Job HashingQueue::Lane::pop(std::map<std::string, Queue>::iterator from, bool newest) {
    Queue& queue = from->second;
    Job job = std::move((newest ? queue.back() : queue.front()).job);
    newest ? queue.pop_back() : queue.pop_front();
    --waiting;
    if (queue.empty())
        queues.erase(from);
    return job;
}

/// The newest of the peer that has at least two places more than the one who comes, or else, for one that has none, of
/// the peer whose turn was last, or among equals of any.
HashingQueue::Job HashingQueue::Lane::makeRoomFor(const std::string& peer) {
    const auto own = queues.find(peer);
    const std::size_t held = own == queues.end() ? 0 : own->second.size();
    const auto most = std::max_element(queues.begin(), queues.end(), [](const auto& left, const auto& right) {
        return left.second.size() < right.second.size();
    });
    if (most->second.size() >= held + 2)
        return pop(most, true);
    const auto last = std::max_element(queues.begin(), queues.end(), [this](const auto& left, const auto& right) {
        return turnOf(left.first) < turnOf(right.first);
    });
    if (held > 0 || turnOf(last->first) < turnOf(peer))
        return {};
    if (turnOf(last->first) > turnOf(peer))
        return pop(last, true);
    // All wait for their first turn, most of them perhaps for somebody who has an address for each try: chance decides.
    const auto unlucky = randomBelow(static_cast<std::uint32_t>(queues.size()) + 1);
    return unlucky == queues.size() ? Job() : pop(std::next(queues.begin(), unlucky), true);
}

HashingQueue::Job HashingQueue::next(Lane& lane) {
    const auto isEarlier = [](const auto& left, const auto& right) { return left.second < right.second; };
    const auto first =
        std::min_element(lane.queues.begin(), lane.queues.end(), [&lane](const auto& left, const auto& right) {
            return lane.turnOf(left.first) < lane.turnOf(right.first);
        });
    if (first == lane.queues.end())
        return {};
    lane.turns[first->first] = ++turn_;
    if (lane.turns.size() > limitedNames)
        lane.turns.erase(std::min_element(lane.turns.begin(), lane.turns.end(), isEarlier));
    return lane.pop(first, false);
}

void HashingQueue::work(bool forStrangers) {
    // Where processors are few, guesses do not slow down those who belong here. Concerns this thread alone.
    if (forStrangers)
        ::setpriority(PRIO_PROCESS, 0, strangersNice);
    std::unique_lock lock(mutex_);
    while (true) {
        if (const Job job = next(forStrangers ? strangers_ : known_)) {
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
