#include "CountedLine.h"

#include "Log.h"

#include <algorithm>
#include <numeric>

namespace parlowen::service {

bool OnceAMinute::isDue(Time now) {
    Time next = next_;
    return now >= next && next_.compare_exchange_strong(next, now + std::chrono::minutes(1));
}

CountedLine::CountedLine(std::string kind, std::vector<std::string> outcomes, Say say)
    : kind_(std::move(kind))
    , outcomes_(std::move(outcomes))
    , say_(std::move(say))
    , counts_(outcomes_.size()) {}

CountedLine::CountedLine(std::string kind, std::vector<std::string> outcomes)
    : CountedLine(std::move(kind), std::move(outcomes), logLine) {}

void CountedLine::count(std::size_t outcome, std::string_view address, Time now) {
    countQuietly(outcome, address, now);
    sayDue(now);
}

void CountedLine::countQuietly(std::size_t outcome, std::string_view address, Time now) {
    const std::lock_guard lock(mutex_);
    if (address_.empty())
        since_ = now;
    ++counts_.at(outcome);
    address_ = address.empty() ? "a proxy" : address;
}

void CountedLine::sayDue(Time now) {
    std::unique_lock lock(mutex_);
    if (address_.empty() || !minute_.isDue(now))
        return;
    const std::string line = taken(now);
    lock.unlock();
    say_(line);
}

void CountedLine::sayRest(Time now) {
    std::unique_lock lock(mutex_);
    const std::string line = address_.empty() ? std::string() : taken(now);
    lock.unlock();
    if (!line.empty())
        say_(line);
}

/// The line for what was counted, which begins anew. With the lock.
std::string CountedLine::taken(Time now) {
    std::string line;
    for (std::size_t i = 0; i < counts_.size(); ++i)
        if (counts_[i] > 0)
            line += (line.empty() ? "" : ", ") + std::to_string(counts_[i]) + " " + outcomes_[i];
    const auto all = std::accumulate(counts_.begin(), counts_.end(), std::uint64_t{0});
    const auto seconds = std::max<std::int64_t>(1, std::chrono::ceil<std::chrono::seconds>(now - since_).count());
    line += all == 1 ? ", from " : " in the last " + std::to_string(seconds) + " s, the latest from ";
    line.insert(0, kind_ + ": ").append(address_);
    counts_.assign(counts_.size(), 0);
    address_.clear();
    return line;
}

void CountedLines::sayDue() {
    for (CountedLine* line : all)
        line->sayDue();
}

void CountedLines::sayRest() {
    for (CountedLine* line : all)
        line->sayRest();
}

CountedLines& countedLines() {
    static CountedLines lines;
    return lines;
}

} // namespace parlowen::service
