#include "HashingQueue.h"

#include "Limits.h"

#include <algorithm>
#include <sys/resource.h>
#include <utility>

namespace parlowen::service {

namespace {

constexpr int strangersNice = 3;

template<typename Jobs>
bool holds(const Jobs& jobs, const std::string& number) {
    return std::any_of(jobs.begin(), jobs.end(), [&](const auto& waiting) { return waiting.number == number; });
}

constexpr auto isDueEarlier = [](const auto& left, const auto& right) { return left.second.due < right.second.due; };

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
        const bool isTaken = stopping_ || (own != lane.queues.end() && holds(own->second.jobs, place.number));
        ++now_.order;
        const Moment due = lane.dueOf(place.peer, now_);
        if (!isTaken && lane.waiting >= lane.places)
            dropped = lane.makeRoomFor(place.peer, due);
        if (isTaken || lane.waiting >= lane.places) {
            dropped = std::move(job);
        } else {
            lane.queues.try_emplace(place.peer, Queue{due})
                .first->second.jobs.push_back({place.number, std::move(job)});
            ++lane.waiting;
            changed_.notify_all();
        }
    }
    if (dropped)
        dropped(false);
}

HashingQueue::Moment HashingQueue::Lane::dueOf(const std::string& peer, Moment now) const {
    const auto came = refused.find(peer);
    const Moment since = came == refused.end() ? now : came->second;
    const auto latest = turns.find(peer);
    return latest == turns.end() ? since : std::max(since, Moment{latest->second + rest});
}

HashingQueue::Job HashingQueue::Lane::pop(Queues::iterator from, bool newest) {
    auto& jobs = from->second.jobs;
    Job job = std::move((newest ? jobs.back() : jobs.front()).job);
    newest ? jobs.pop_back() : jobs.pop_front();
    --waiting;
    if (jobs.empty())
        queues.erase(from);
    return job;
}

/// The newest of the peer that has at least two places more than the one who comes, or else, for one that has none, of
/// the peer that is due last.
HashingQueue::Job HashingQueue::Lane::makeRoomFor(const std::string& peer, Moment due) {
    const auto own = queues.find(peer);
    const std::size_t held = own == queues.end() ? 0 : own->second.jobs.size();
    const auto most = std::max_element(queues.begin(), queues.end(), [](const auto& left, const auto& right) {
        return left.second.jobs.size() < right.second.jobs.size();
    });
    if (most->second.jobs.size() >= held + 2)
        return pop(most, true);
    if (held > 0)
        return {};
    const auto last = std::max_element(queues.begin(), queues.end(), isDueEarlier);
    if (last->second.due < due) {
        refuse(peer, due);
        return {};
    }
    refuse(last->first, last->second.due);
    return pop(last, true);
}

void HashingQueue::Lane::refuse(const std::string& peer, Moment due) {
    if (!refused.try_emplace(peer, due).second)
        return;
    refusals.emplace_back(peer, due);
    if (refusals.size() <= refusedNames)
        return;
    const auto oldest = refused.find(refusals.front().first);
    if (oldest != refused.end() && oldest->second == refusals.front().second)
        refused.erase(oldest);
    refusals.pop_front();
}

void HashingQueue::Lane::tookTurn(const std::string& peer, std::uint64_t turn) {
    refused.erase(peer);
    turns[peer] = turn;
    if (turns.size() > limitedNames)
        turns.erase(std::min_element(turns.begin(), turns.end(),
                                     [](const auto& left, const auto& right) { return left.second < right.second; }));
}

HashingQueue::Job HashingQueue::next(Lane& lane) {
    const auto first = std::min_element(lane.queues.begin(), lane.queues.end(), isDueEarlier);
    if (first == lane.queues.end())
        return {};
    ++now_.turn;
    lane.tookTurn(first->first, now_.turn);
    first->second.due = lane.dueOf(first->first, now_);
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
