#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace parlowen::service {

using LimitTime = std::chrono::steady_clock::time_point;
using LimitClock = std::function<LimitTime()>;

/// Beyond so many names a limit forgets half of them: those who do not have to wait first, then the quiet ones.
inline constexpr std::size_t limitedNames = 10'000;

/// Who counts as one where an address is cheap: of an IPv6 address the 48 bits that a site is given, with as many
/// networks as it likes. Anything else stays as it is, IPv4 addresses in the IPv6 notation of some proxies among it.
std::string siteOf(const std::string& address);

/// How failures in a row are slowed down.
struct FailureRule {
    int free;                                            ///< failures that cost nothing
    std::chrono::seconds pause;                          ///< after the next one; twice as long after each further one
    std::chrono::seconds longest;                        ///< a pause never grows beyond
    std::chrono::seconds memory = std::chrono::hours(1); ///< a name without a failure for that long begins anew
};

/// Slows down guessing: after a few failures in a row, the same name has to wait, for longer each time. Keeps little
/// and forgets. Thread-safe.
class FailureLimit {
public:
    FailureLimit(FailureRule rule, LimitClock clock);

    /// How long the name has to wait before its next try; 0 when it may try now.
    std::chrono::seconds waitFor(const std::string& name);
    void failed(const std::string& name);
    /// Takes back what the last failure cost: it was none.
    void takeBack(const std::string& name);
    void succeeded(const std::string& name);
    /// How many failures in a row are remembered.
    int failuresOf(const std::string& name);
    /// Takes what an earlier run remembered in again.
    void restore(const std::string& name, int count, std::chrono::seconds ago);

private:
    struct Failures {
        int count = 0;
        LimitTime last;
    };
    std::chrono::seconds pauseAfter(int count) const;

    const FailureRule rule_;
    const LimitClock clock_;
    std::mutex mutex_;
    std::map<std::string, Failures> failures_;
};

/// Lets each name do something so many times in a period. Thread-safe.
class RateLimit {
public:
    RateLimit(std::size_t times, std::chrono::seconds period, LimitClock clock);

    /// Counts one more time; when that would be too many, gives how long to wait instead.
    std::chrono::seconds enter(const std::string& name);
    /// Takes back the last time that was counted.
    void takeBack(const std::string& name);

private:
    const std::size_t times_;
    const std::chrono::seconds period_;
    const LimitClock clock_;
    std::mutex mutex_;
    std::map<std::string, std::deque<LimitTime>> uses_;
};

} // namespace parlowen::service
