#include "OpenConnections.h"

#include "CountedLine.h"

#include <sys/socket.h>
#include <tuple>

namespace parlowen::service {

namespace {

constexpr std::size_t flood = 8; ///< connections, at least: each may have held a body of 1 MB
constexpr std::size_t partOfACalm = 8;
constexpr std::size_t partThatIsFew = 4; // of a user's share

} // namespace

OpenConnections::Owner OpenConnections::ownerOf(const Entry& entry) {
    return {entry.user, entry.user ? std::string() : entry.peer};
}

std::size_t OpenConnections::count(const Condition& which) const {
    return static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), [&which](const auto& entry) {
        return !entry.second.leaving && which(entry.second);
    }));
}

bool OpenConnections::makeRoom(const Condition& among, std::size_t few) {
    std::map<Owner, std::size_t> held;
    for (const auto& [id, entry] : entries_)
        held[ownerOf(entry)] += entry.leaving ? 0 : 1;
    Entry* chosen = nullptr;
    std::tuple<bool, std::size_t, Clock::time_point> first; // signed in, places of others, waiting since
    for (auto& [id, entry] : entries_) {
        const std::size_t ofOwner = held.at(ownerOf(entry));
        if (entry.leaving || entry.working || ofOwner <= few || !among(entry))
            continue;
        const std::tuple order(entry.user.has_value(), entries_.size() - ofOwner, entry.waitingSince);
        if (!chosen || order < first) {
            chosen = &entry;
            first = order;
        }
    }
    if (!chosen)
        return false;
    chosen->leaving = true;
    countedLines().connections.countQuietly(CountedLines::GaveWay, chosen->peer);
    ::shutdown(chosen->socket, SHUT_RDWR);
    return true;
}

std::unique_ptr<OpenConnections::Place> OpenConnections::enter(int socket, const std::string& peer) {
    const std::lock_guard lock(mutex_);
    const auto isTheirs = [&peer](const Entry& entry) { return entry.peer == peer; };
    if (!peer.empty() && count(isTheirs) >= limits_.ofAPeer && !makeRoom(isTheirs))
        return nullptr;
    Entry entry{.socket = socket, .peer = peer, .waitingSince = Clock::now()};
    const auto isFull = [this] { return count(isStranger) >= placesOfStrangers(); };
    entry.surplus = isFull() && (!makeRoom(isStranger) || isFull());
    const auto isAny = [](const Entry&) { return true; };
    if (count(isAny) >= limits_.all && !makeRoom(isStranger) && !makeRoom(isAny, limits_.ofAUser / partThatIsFew))
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

void OpenConnections::Place::isFor(const std::string& peer) {
    const std::lock_guard lock(all_.mutex_);
    Entry& entry = all_.entries_.at(id_);
    entry.peer = peer;
    entry.user.reset();
    const auto isTheirs = [&peer](const Entry& other) { return other.peer == peer; };
    const bool tooMany = !peer.empty() && all_.count(isTheirs) > all_.limits_.ofAPeer && !all_.makeRoom(isTheirs);
    entry.surplus = tooMany || (all_.count(isStranger) > all_.placesOfStrangers() && !all_.makeRoom(isStranger));
}

void OpenConnections::Place::signedIn(std::int64_t user) {
    const std::lock_guard lock(all_.mutex_);
    Entry& entry = all_.entries_.at(id_);
    entry.working = true;
    entry.user = user;
    const auto isTheirs = [user](const Entry& other) { return other.user == user; };
    entry.surplus = all_.count(isTheirs) > all_.limits_.ofAUser && !all_.makeRoom(isTheirs);
}

bool OpenConnections::Place::isSignedIn() const {
    const std::lock_guard lock(all_.mutex_);
    return all_.entries_.at(id_).user.has_value();
}

bool OpenConnections::Place::isSurplus() const {
    const std::lock_guard lock(all_.mutex_);
    return all_.entries_.at(id_).surplus;
}

} // namespace parlowen::service
