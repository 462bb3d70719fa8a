#include "Limits.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <utility>

namespace parlowen::service {

namespace {

using std::chrono::seconds;

seconds secondsUntil(LimitTime time, LimitTime now) {
    return std::max(std::chrono::ceil<seconds>(time - now), seconds(0));
}

/// Makes room for one more name; `last` gives the time of an entry's last use.
template<typename Map, typename LastUse>
void makeRoom(Map& names, LimitTime forgetBefore, LastUse last) {
    if (names.size() < limitedNames)
        return;
    std::erase_if(names, [&](const auto& entry) { return last(entry.second) < forgetBefore; });
    if (names.size() < limitedNames)
        return;
    names.erase(std::min_element(names.begin(), names.end(), [&](const auto& left, const auto& right) {
        return last(left.second) < last(right.second);
    }));
}

} // namespace

std::string siteOf(const std::string& address) {
    boost::system::error_code none;
    const auto parsed = boost::asio::ip::make_address(address, none);
    if (none || !parsed.is_v6())
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
        makeRoom(failures_, now - rule_.memory, [](const Failures& failures) { return failures.last; });
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
        makeRoom(uses_, now - period_, [](const std::deque<LimitTime>& uses) { return uses.back(); });
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
