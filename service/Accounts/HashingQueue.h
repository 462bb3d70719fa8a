#pragma once

#include "Http/Workers.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace parlowen::service {

/// Where the hashing of passwords waits and runs: threads of its own, bounded places, turns by peer: the one whose
/// latest turn is longest ago comes first. Whoever has signed in from the same place before has threads and places of
/// their own; strangers share a thread of low priority. When all places are taken, whoever has several, or had a turn
/// later than the one who comes, makes room. What finds no place is not done at all. Thread-safe.
class HashingQueue {
public:
    static constexpr std::size_t placesOfStrangers = 16;
    static constexpr std::size_t placesOfKnown = 32;
    static constexpr std::chrono::seconds untilRoom{3}; ///< a fair time to come back after there was no place

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
    struct Lane {
        std::size_t places;
        std::map<std::string, Queue> queues{}; ///< by peer; none is empty
        std::size_t waiting = 0;
        std::map<std::string, std::uint64_t> turns{}; ///< by peer, the number of the latest one

        std::uint64_t turnOf(const std::string& peer) const;
        Job pop(std::map<std::string, Queue>::iterator from, bool newest);
        Job makeRoomFor(const std::string& peer);
    };

    void work(bool forStrangers);
    Job next(Lane& lane);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    Lane known_{placesOfKnown};
    Lane strangers_{placesOfStrangers};
    std::uint64_t turn_ = 0;
    std::vector<std::thread> threads_;
};

} // namespace parlowen::service
