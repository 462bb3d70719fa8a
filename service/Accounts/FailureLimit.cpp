#include "FailureLimit.h"

#include <algorithm>

namespace parlowen::service {

FailureLimit::FailureLimit(Clock clock)
    : clock_(std::move(clock)) {}

std::chrono::seconds FailureLimit::waitFor(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto known = failures_.find(name);
    if (known == failures_.end() || known->second.count < freeFailures)
        return {};
    const auto left = known->second.last + pause - clock_();
    return std::max(std::chrono::ceil<std::chrono::seconds>(left), std::chrono::seconds(0));
}

void FailureLimit::failed(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const TimePoint now = clock_();
    if (!failures_.contains(name))
        makeRoom(now);
    Failures& failures = failures_[name];
    failures.count = now - failures.last > memory ? 1 : failures.count + 1;
    failures.last = now;
}

void FailureLimit::succeeded(const std::string& name) {
    const std::lock_guard lock(mutex_);
    failures_.erase(name);
}

void FailureLimit::makeRoom(TimePoint now) {
    if (failures_.size() < names)
        return;
    std::erase_if(failures_, [now](const auto& entry) { return now - entry.second.last > memory; });
    if (failures_.size() < names)
        return;
    failures_.erase(std::min_element(failures_.begin(), failures_.end(), [](const auto& left, const auto& right) {
        return left.second.last < right.second.last;
    }));
}

} // namespace parlowen::service
