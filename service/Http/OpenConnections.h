#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace parlowen::service {

/// The connections of a server, by their sockets: counted, limited, and told to end. One peer, and one user, gets a
/// share of the places. Where they are full, a connection goes that waits for its client: a stranger's before that of
/// someone who has signed in, then of whoever has the most, the one that has waited longest. Users with few keep
/// theirs. The last places are a reserve for those who have signed in. Thread-safe.
class OpenConnections {
public:
    struct Limits {
        std::size_t all;
        std::size_t ofAPeer;
        std::size_t reserve; ///< of all
        std::size_t ofAUser; ///< of which a quarter is few
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
        /// Who asks through a proxy this time; empty when it does not say. Nobody has signed in for that one yet.
        void isFor(const std::string& peer);
        /// The server's turn, for a user.
        void signedIn(std::int64_t user);
        bool isSignedIn() const;
        /// Whether it is to be turned away: it is of the reserve, or beyond a share, and nobody made room for it.
        bool isSurplus() const;

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
        std::optional<std::int64_t> user = {}; ///< who has signed in
        bool surplus = false;
        bool leaving = false; ///< its place is another's already
    };
    using Condition = std::function<bool(const Entry&)>;
    using Owner = std::pair<std::optional<std::int64_t>, std::string>;

    static Owner ownerOf(const Entry& entry);
    static bool isStranger(const Entry& entry) { return !entry.user; }

    void leave(std::size_t id);
    std::size_t count(const Condition& which) const;
    std::size_t placesOfStrangers() const { return limits_.all - std::min(limits_.all, limits_.reserve); }
    /// Ends one among those whose owner has more than `few`; false when none of them waits.
    bool makeRoom(const Condition& among, std::size_t few = 0);

    const Limits limits_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t nextId_ = 0;
    std::size_t most_ = 0; ///< at a time since the last calm
    std::map<std::size_t, Entry> entries_;
};

} // namespace parlowen::service
