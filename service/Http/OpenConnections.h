#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace parlowen::service {

/// The connections of a server, by their sockets: counted, limited, and told to end. One peer gets a share of the
/// places. Where they are full, the one that has waited longest for its client goes, of those that nobody has signed in
/// on first; the last places are a reserve for those who have signed in. Thread-safe.
class OpenConnections {
public:
    struct Limits {
        std::size_t all;
        std::size_t ofAPeer;
        std::size_t reserve; ///< of all
    };
    using Clock = std::chrono::steady_clock;

    explicit OpenConnections(Limits limits)
        : limits_(limits) {}

    /// A connection's place for as long as it exists, which is no longer than the socket is open.
    class Place {
    public:
        Place(OpenConnections& all, std::size_t id)
            : all_(all)
            , id_(id) {}
        ~Place() { all_.leave(id_); }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        /// The client's turn: from here the place may be given to another. It is so from the beginning.
        void waits();
        /// The server's turn.
        void works();
        void signedIn();
        /// Whether it is meant for those who have signed in, and nobody has.
        bool isOfTheReserve() const;

    private:
        OpenConnections& all_;
        std::size_t id_;
    };

    /// Null when there is no place. A peer without a name has no share of its own: it speaks for many.
    std::unique_ptr<Place> enter(int socket, const std::string& peer);
    /// Ends the reading side of every socket, so that each connection finishes what it writes and closes.
    void endAll();
    /// Whether the last one was gone within the bound.
    bool waitUntilNone(std::chrono::milliseconds bound);

    /// Called when a flood is over: most of the places are free again. Without the lock, on any thread.
    std::function<void()> calmed;

private:
    struct Entry {
        int socket;
        std::string peer;
        Clock::time_point waitingSince;
        bool working = false;
        bool signedIn = false;
        bool ofTheReserve = false;
        bool leaving = false; ///< its place is another's already
    };

    void leave(std::size_t id);
    std::size_t count(const std::function<bool(const Entry&)>& which) const;
    bool makeRoom(const std::function<bool(const Entry&)>& among);

    const Limits limits_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t nextId_ = 0;
    std::size_t most_ = 0; ///< at a time since the last calm
    std::map<std::size_t, Entry> entries_;
};

} // namespace parlowen::service
