#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>

namespace parlowen::service {

/// Places that users share: so many in all, and so many of them for one user. Thread-safe.
class UserPlaces {
public:
    UserPlaces(std::size_t inAll, std::size_t ofAUser)
        : state_(std::make_shared<State>(inAll, ofAUser)) {}

    bool hasRoomFor(std::int64_t user) const {
        const std::lock_guard lock(state_->mutex);
        return state_->hasRoomFor(user);
    }
    /// A place, which is given back when it is let go of; null where there is none.
    std::shared_ptr<void> take(std::int64_t user) {
        const std::lock_guard lock(state_->mutex);
        if (!state_->hasRoomFor(user))
            return nullptr;
        const auto entry = state_->taken.insert(user);
        return {state_.get(), [state = state_, entry](void*) {
                    const std::lock_guard relock(state->mutex);
                    state->taken.erase(entry);
                }};
    }

private:
    struct State {
        State(std::size_t placesInAll, std::size_t placesOfAUser)
            : inAll(placesInAll)
            , ofAUser(placesOfAUser) {}
        bool hasRoomFor(std::int64_t user) const { return taken.size() < inAll && taken.count(user) < ofAUser; }

        const std::size_t inAll;
        const std::size_t ofAUser;
        std::mutex mutex;
        std::multiset<std::int64_t> taken; ///< by whom
    };

    std::shared_ptr<State> state_;
};

} // namespace parlowen::service
