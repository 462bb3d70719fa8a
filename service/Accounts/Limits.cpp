#include "Limits.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <utility>
#include <vector>

namespace parlowen::service {

namespace {

using std::chrono::seconds;

seconds secondsUntil(LimitTime time, LimitTime now) {
    return std::max(std::chrono::ceil<seconds>(time - now), seconds(0));
}

/// What is forgotten first comes first: who does not have to wait, and among them who was quiet for longest.
using Rank = std::pair<bool, LimitTime>;

/// Makes room for one more name; `rank` gives an entry's. Half of them go at once, so that a flood of new names does
/// not cost a look at all for each.
template<typename Map, typename RankOf>
void makeRoom(Map& names, RankOf rank) {
    if (names.size() < limitedNames)
        return;
    std::vector<Rank> ranks;
    ranks.reserve(names.size());
    for (const auto& entry : names)
        ranks.push_back(rank(entry.second));
    const auto middle = ranks.begin() + static_cast<std::ptrdiff_t>(ranks.size() / 2);
    std::nth_element(ranks.begin(), middle, ranks.end());
    if (std::erase_if(names, [&](const auto& entry) { return rank(entry.second) < *middle; }) == 0)
        names.erase(names.begin());
}

} // namespace

std::string siteOf(const std::string& address) {
    boost::system::error_code none;
    const auto parsed = boost::asio::ip::make_address(address, none);
    if (none || !parsed.is_v6() || parsed.is_loopback() || parsed.to_v6().is_v4_mapped())
        return address;
    constexpr std::size_t siteBytes = 6;
    auto bytes = parsed.to_v6().to_bytes();
    std::fill(bytes.begin() + siteBytes, bytes.end(), 0);
    return boost::asio::ip::address_v6(bytes).to_string();
}

FailureLimit::FailureLimit(FailureRule rule, LimitClock clock)
    : rule_(rule)
    , clock_(std::move(clock)) {}

seconds FailureLimit::pauseAfter(int count) const {
    if (count < rule_.free)
        return {};
    constexpr int mostDoublings = 20;
    return std::min(rule_.pause * (1 << std::min(count - rule_.free, mostDoublings)), rule_.longest);
}

seconds FailureLimit::waitFor(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = failures_.find(name);
    if (known == failures_.end())
        return {};
    return secondsUntil(known->second.last + pauseAfter(known->second.count), clock_());
}

void FailureLimit::failed(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const LimitTime now = clock_();
    if (!failures_.contains(name))
        makeRoom(failures_, [this, now](const Failures& failures) {
            return Rank(failures.count >= rule_.free && failures.last + rule_.memory > now, failures.last);
        });
    Failures& failures = failures_[name];
    failures.count = now - failures.last > rule_.memory ? 1 : failures.count + 1;
    failures.last = now;
}

void FailureLimit::takeBack(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = failures_.find(name);
    if (known != failures_.end() && --known->second.count <= 0)
        failures_.erase(known);
}

void FailureLimit::succeeded(const std::string& name) {
    const std::lock_guard lock(mutex_);
    failures_.erase(name);
}

int FailureLimit::failuresOf(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = failures_.find(name);
    return known == failures_.end() || clock_() - known->second.last > rule_.memory ? 0 : known->second.count;
}

void FailureLimit::restore(const std::string& name, int count, std::chrono::seconds ago) {
    const std::lock_guard lock(mutex_);
    if (failures_.size() < limitedNames)
        failures_[name] = {count, clock_() - ago};
}

RateLimit::RateLimit(std::size_t times, seconds period, LimitClock clock)
    : times_(times)
    , period_(period)
    , clock_(std::move(clock)) {}

seconds RateLimit::enter(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const LimitTime now = clock_();
    if (!uses_.contains(name))
        makeRoom(uses_, [this, now](const std::deque<LimitTime>& uses) {
            return Rank(uses.size() >= times_ && uses.back() + period_ > now, uses.back());
        });
    auto& uses = uses_[name];
    while (!uses.empty() && uses.front() + period_ <= now)
        uses.pop_front();
    if (uses.size() >= times_)
        return secondsUntil(uses.front() + period_, now);
    uses.push_back(now);
    return {};
}

void RateLimit::takeBack(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = uses_.find(name);
    if (known == uses_.end())
        return;
    known->second.pop_back();
    if (known->second.empty())
        uses_.erase(known);
}

} // namespace parlowen::service
