#pragma once

#include "Answers/AnswerSource.h"

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace parlowen::service {

/// What was asked and answered last in each account's interview, in memory alone. An interview ends with a while in
/// which nothing comes from its account. Thread-safe.
class Exchanges {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr std::size_t kept = 6;           ///< exchanges of an interview
    static constexpr std::size_t interviews = 1'000; ///< beyond these the one that is quiet the longest is forgotten
    static constexpr std::chrono::minutes quiet{15}; ///< ends an interview

    explicit Exchanges(Clock clock = std::chrono::steady_clock::now)
        : clock_(std::move(clock)) {}

    /// The oldest first.
    std::vector<Exchange> of(std::int64_t account);
    void add(std::int64_t account, Exchange exchange);
    /// The accounts that there are any of.
    std::vector<std::int64_t> accounts();
    /// Drops those of an account that is gone, and what an answer that still runs would add.
    void forget(std::int64_t account);

private:
    struct Interview {
        std::deque<Exchange> exchanges;
        TimePoint last;
    };

    Clock clock_;
    std::mutex mutex_;
    std::map<std::int64_t, Interview> interviews_;
    std::set<std::int64_t> gone_; ///< the newest `interviews` accounts of those
};

} // namespace parlowen::service
