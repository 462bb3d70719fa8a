#pragma once

#include "Http/Workers.h"

#include <compare>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace parlowen::service {

/// Where the hashing of passwords waits and runs: threads of its own, bounded places, turns by peer: the one who waits
/// for longest comes first, and within `rest` turns of their last one nobody counts as waiting yet. Whoever has signed
/// in from the same place before has threads and places of their own; strangers share a thread of low priority. When
/// all places are taken, whoever has several, or waits for less long than the one who comes, makes room. What finds no
/// place is not done at all; whoever comes again waits since the first time, so that someone who has an address for
/// each try keeps nobody out who comes twice. Thread-safe.
class HashingQueue {
public:
    static constexpr std::size_t placesOfStrangers = 16;
    static constexpr std::size_t placesOfKnown = 32;
    static constexpr std::chrono::seconds untilRoom{3}; ///< a fair time to come back after there was no place
    static constexpr std::uint64_t rest = 2048;         ///< turns, which are half a minute or more
    /// Remembered of those who found no place, the latest: those of a quarter of a minute where 2,000 come each second.
    static constexpr std::size_t refusedNames = 32'768;

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
    /// A moment, counted in turns that were given, and for the order among those of the same turn.
    struct Moment {
        std::uint64_t turn = 0;
        std::uint64_t order = 0;
        auto operator<=>(const Moment&) const = default;
    };
    struct Queue {
        Moment due; ///< since when its peer waits for a turn
        std::deque<Waiting> jobs{};
    };
    using Queues = std::map<std::string, Queue>;
    struct Lane {
        std::size_t places;
        Queues queues{}; ///< by peer; none is empty
        std::size_t waiting = 0;
        std::map<std::string, std::uint64_t> turns{}; ///< by peer, the number of the latest one
        std::map<std::string, Moment> refused{};      ///< by peer, when it first found no place since its latest turn
        std::deque<std::pair<std::string, Moment>> refusals{}; ///< as they came, those who got in since among them

        Moment dueOf(const std::string& peer, Moment now) const;
        Job pop(Queues::iterator from, bool newest);
        Job makeRoomFor(const std::string& peer, Moment due);
        void refuse(const std::string& peer, Moment due);
        void tookTurn(const std::string& peer, std::uint64_t turn);
    };

    void work(bool forStrangers);
    Job next(Lane& lane);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    Lane known_{placesOfKnown};
    Lane strangers_{placesOfStrangers};
    Moment now_;
    std::vector<std::thread> threads_;
};

} // namespace parlowen::service
