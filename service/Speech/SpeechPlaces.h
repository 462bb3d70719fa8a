#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace parlowen::service {

/// The places for speech connections, which users share: so many in all, and so many of them for one user. When all are
/// taken, somebody who has fewer gets the place of whoever has most that heard nothing for longest. A user who has all
/// that one gets loses their own that hears nothing any more, such as one of a network that was left. Thread-safe.
class SpeechPlaces {
    struct State;

public:
    using Clock = std::chrono::steady_clock;
    /// Without a sound for so long, or for `quiet` if that is less, a user's own is abandoned. Longer than one that is
    /// alive is not read from, as while what it sent before is still being recognised.
    static constexpr std::chrono::seconds abandoned{20};

    /// `quiet`: so long without a sound, and a place goes also to somebody who has just one fewer, to whom it would
    /// else only bring the turn to lose it again.
    SpeechPlaces(std::size_t inAll, std::size_t ofAUser, Clock::duration quiet);

    /// Is given back when it is destroyed.
    class Place {
    public:
        Place(std::shared_ptr<State> state, std::int64_t user);
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place();

        /// Sound has come in.
        void heard();
        /// Has that called, on any thread, when the place goes to another connection; at once where it has gone.
        void whenLost(std::function<void()> act);

    private:
        friend struct State;
        friend class SpeechPlaces;

        const std::shared_ptr<State> state_;
        const std::int64_t user_;
        Clock::time_point lastHeard_ = Clock::now();
        std::function<void()> whenLost_;
        bool lost_ = false;
    };
    /// Null where there is none.
    std::unique_ptr<Place> take(std::int64_t user);

private:
    const std::shared_ptr<State> state_;
};

} // namespace parlowen::service
