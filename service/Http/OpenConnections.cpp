#include "OpenConnections.h"

#include <algorithm>
#include <sys/socket.h>
#include <utility>

namespace parlowen::service {

namespace {

constexpr std::size_t flood = 64; ///< connections, at least
constexpr std::size_t partOfACalm = 8;

} // namespace

std::size_t OpenConnections::count(const std::function<bool(const Entry&)>& which) const {
    return static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), [&which](const auto& entry) {
        return !entry.second.leaving && which(entry.second);
    }));
}

bool OpenConnections::makeRoom(const std::function<bool(const Entry&)>& among) {
    Entry* chosen = nullptr;
    for (auto& [id, entry] : entries_) {
        if (entry.leaving || entry.working || !among(entry))
            continue;
        const auto order = [](const Entry& one) { return std::pair(one.signedIn, one.waitingSince); };
        if (!chosen || order(entry) < order(*chosen))
            chosen = &entry;
    }
    if (!chosen)
        return false;
    chosen->leaving = true;
    ::shutdown(chosen->socket, SHUT_RDWR);
    return true;
}

std::unique_ptr<OpenConnections::Place> OpenConnections::enter(int socket, const std::string& peer) {
    const std::lock_guard lock(mutex_);
    const auto isTheirs = [&peer](const Entry& entry) { return entry.peer == peer; };
    const auto isStranger = [](const Entry& entry) { return !entry.signedIn; };
    if (!peer.empty() && count(isTheirs) >= limits_.ofAPeer && !makeRoom(isTheirs))
        return nullptr;
    Entry entry{.socket = socket, .peer = peer, .waitingSince = Clock::now()};
    if (count(isStranger) >= limits_.all - std::min(limits_.all, limits_.reserve) && !makeRoom(isStranger))
        entry.ofTheReserve = true;
    if (count([](const Entry&) { return true; }) >= limits_.all && !makeRoom(isStranger))
        return nullptr;
    const std::size_t id = nextId_++;
    entries_.emplace(id, std::move(entry));
    most_ = std::max(most_, entries_.size());
    return std::make_unique<Place>(*this, id);
}

void OpenConnections::endAll() {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, entry] : entries_)
        ::shutdown(entry.socket, SHUT_RD);
}

bool OpenConnections::waitUntilNone(std::chrono::milliseconds bound) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, bound, [this] { return entries_.empty(); });
}

void OpenConnections::leave(std::size_t id) {
    bool isCalm = false;
    {
        const std::lock_guard lock(mutex_);
        entries_.erase(id);
        isCalm = most_ >= flood && entries_.size() <= most_ / partOfACalm;
        if (isCalm)
            most_ = entries_.size();
        changed_.notify_all();
    }
    if (isCalm && calmed)
        calmed();
}

void OpenConnections::Place::waits() {
    const std::lock_guard lock(all_.mutex_);
    Entry& entry = all_.entries_.at(id_);
    entry.working = false;
    entry.waitingSince = Clock::now();
}

void OpenConnections::Place::works() {
    const std::lock_guard lock(all_.mutex_);
    all_.entries_.at(id_).working = true;
}

void OpenConnections::Place::signedIn() {
    const std::lock_guard lock(all_.mutex_);
    Entry& entry = all_.entries_.at(id_);
    entry.signedIn = true;
    entry.ofTheReserve = false;
}

bool OpenConnections::Place::isOfTheReserve() const {
    const std::lock_guard lock(all_.mutex_);
    return all_.entries_.at(id_).ofTheReserve;
}

} // namespace parlowen::service
