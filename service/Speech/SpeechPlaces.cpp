#include "SpeechPlaces.h"

#include <algorithm>
#include <list>
#include <map>
#include <mutex>
#include <utility>

namespace parlowen::service {

struct SpeechPlaces::State {
    using Taken = std::list<Place*>;

    std::size_t ofUser(std::int64_t user) const {
        return static_cast<std::size_t>(
            std::count_if(taken.begin(), taken.end(), [user](const Place* place) { return place->user_ == user; }));
    }

    /// The place that goes to somebody who has so many; the end where none does.
    Taken::const_iterator forWhoeverHas(std::size_t own) const {
        std::map<std::int64_t, std::size_t> counts;
        for (const Place* place : taken)
            ++counts[place->user_];
        const auto found = std::max_element(taken.begin(), taken.end(), [&](const Place* left, const Place* right) {
            return std::pair(counts[left->user_], right->lastHeard_) <
                   std::pair(counts[right->user_], left->lastHeard_);
        });
        if (found == taken.end())
            return found;
        const std::size_t most = counts[(*found)->user_];
        const bool isQuiet = Clock::now() - (*found)->lastHeard_ >= quiet;
        return most > own + (isQuiet ? 0 : 1) ? found : taken.end();
    }

    /// The place of their own that goes to a user who has all that one gets; the end where none does.
    Taken::const_iterator abandonedOf(std::int64_t user) const {
        const auto found = std::min_element(taken.begin(), taken.end(), [user](const Place* left, const Place* right) {
            return std::pair(left->user_ != user, left->lastHeard_) <
                   std::pair(right->user_ != user, right->lastHeard_);
        });
        const bool isSilent = Clock::now() - (*found)->lastHeard_ >= std::min<Clock::duration>(quiet, abandoned);
        return isSilent ? found : taken.end();
    }

    bool isFull() const { return taken.size() >= inAll; }

    const std::size_t inAll;
    const std::size_t ofAUser;
    const Clock::duration quiet;
    std::mutex mutex{};
    Taken taken{};
};

SpeechPlaces::SpeechPlaces(std::size_t inAll, std::size_t ofAUser, Clock::duration quiet)
    : state_(new State{inAll, ofAUser, quiet}) {}

std::unique_ptr<SpeechPlaces::Place> SpeechPlaces::take(std::int64_t user) {
    auto place = std::make_unique<Place>(state_, user);
    std::function<void()> lose;
    {
        const std::lock_guard lock(state_->mutex);
        auto& taken = state_->taken;
        const std::size_t own = state_->ofUser(user);
        const bool hasAll = own >= state_->ofAUser;
        auto given = taken.cend();
        if (hasAll)
            given = state_->abandonedOf(user);
        else if (state_->isFull())
            given = state_->forWhoeverHas(own);
        if (given == taken.end() && (hasAll || state_->isFull()))
            return nullptr;
        if (given != taken.end()) {
            (*given)->lost_ = true;
            lose = std::move((*given)->whenLost_);
            taken.erase(given);
        }
        taken.push_back(place.get());
    }
    if (lose)
        lose();
    return place;
}

SpeechPlaces::Place::Place(std::shared_ptr<State> state, std::int64_t user)
    : state_(std::move(state))
    , user_(user) {}

SpeechPlaces::Place::~Place() {
    const std::lock_guard lock(state_->mutex);
    state_->taken.remove(this);
}

void SpeechPlaces::Place::heard() {
    const std::lock_guard lock(state_->mutex);
    lastHeard_ = Clock::now();
}

void SpeechPlaces::Place::whenLost(std::function<void()> act) {
    {
        const std::lock_guard lock(state_->mutex);
        if (!lost_)
            return void(whenLost_ = std::move(act));
    }
    act();
}

} // namespace parlowen::service
