#include "Exchanges.h"

#include <algorithm>

namespace parlowen::service {

std::vector<Exchange> Exchanges::of(std::int64_t account) {
    const std::lock_guard lock(mutex_);
    const auto found = interviews_.find(account);
    if (found == interviews_.end() || clock_() - found->second.last > quiet)
        return {};
    return {found->second.exchanges.begin(), found->second.exchanges.end()};
}

void Exchanges::add(std::int64_t account, Exchange exchange) {
    const std::lock_guard lock(mutex_);
    if (gone_.contains(account))
        return;
    const TimePoint now = clock_();
    std::erase_if(interviews_, [now](const auto& entry) { return now - entry.second.last > quiet; });
    if (interviews_.size() >= interviews && !interviews_.contains(account))
        interviews_.erase(
            std::min_element(interviews_.begin(), interviews_.end(),
                             [](const auto& left, const auto& right) { return left.second.last < right.second.last; }));
    Interview& interview = interviews_[account];
    interview.last = now;
    interview.exchanges.push_back(std::move(exchange));
    if (interview.exchanges.size() > kept)
        interview.exchanges.pop_front();
}

std::vector<std::int64_t> Exchanges::accounts() {
    const std::lock_guard lock(mutex_);
    std::vector<std::int64_t> all;
    for (const auto& [account, interview] : interviews_)
        all.push_back(account);
    return all;
}

void Exchanges::forget(std::int64_t account) {
    const std::lock_guard lock(mutex_);
    interviews_.erase(account);
    gone_.insert(account);
    if (gone_.size() > interviews)
        gone_.erase(gone_.begin());
}

} // namespace parlowen::service
