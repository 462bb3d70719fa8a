#pragma once

#include "Http/Workers.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace parlowen::service {

/// Where the hashing of passwords waits and runs: threads of its own, bounded places, turns by peer. Whoever has signed
/// in from the same place before has threads of their own; strangers share one of low priority. What finds no place is
/// not done at all. Thread-safe.
class HashingQueue {
public:
    static constexpr std::size_t placesOfStrangers = 16;
    static constexpr std::size_t placesOfKnown = 32;
    static constexpr int secondsUntilRoom = 3; ///< a fair time to come back after there was no place

    /// For whom something is hashed.
    struct Place {
        std::string peer;
        std::string number; ///< one at a time waits for each number of a peer
        bool known = false;
    };
    using Job = QueuedJob;

    HashingQueue();
    ~HashingQueue(); ///< stops
    HashingQueue(const HashingQueue&) = delete;
    HashingQueue& operator=(const HashingQueue&) = delete;

    void add(const Place& place, Job job);
    /// Lets what runs finish, and gives up what waits and what still comes.
    void stop();

    /// Runs a function in its turn and gives its result, or its exception, back on the caller's executor; none when
    /// there was no place for it.
    template<typename Function>
    boost::asio::awaitable<std::optional<std::invoke_result_t<Function>>> run(Place place, Function function) {
        return onQueue([this, place = std::move(place)](Job job) { add(place, std::move(job)); }, std::move(function));
    }

private:
    struct Waiting {
        std::string number;
        Job job;
    };
    using Queue = std::deque<Waiting>;

    void work(bool forStrangers);
    Job next(bool forStrangers);
    Job makeRoomFor(const std::string& peer);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    Queue known_;
    std::map<std::string, Queue> strangers_; ///< by peer; no queue is empty
    std::size_t strangersWaiting_ = 0;
    std::string lastPeer_; ///< whose turn was last
    std::vector<std::thread> threads_;
};

} // namespace parlowen::service
