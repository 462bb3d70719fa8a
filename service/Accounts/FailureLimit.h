#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace parlowen::service {

/// Slows down guessing: after a few failures in a row, the same name has to wait. Keeps little and forgets.
/// Thread-safe.
class FailureLimit {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;

    static constexpr int freeFailures = 5;
    static constexpr std::chrono::seconds pause{60};
    static constexpr std::chrono::minutes memory{15}; ///< a name without a failure for that long begins anew
    static constexpr std::size_t names = 10'000;      ///< beyond these the one that failed longest ago is forgotten

    explicit FailureLimit(Clock clock = std::chrono::steady_clock::now);

    /// How long the name has to wait before its next try; 0 when it may try now.
    std::chrono::seconds waitFor(const std::string& name);
    void failed(const std::string& name);
    void succeeded(const std::string& name);

private:
    struct Failures {
        int count = 0;
        TimePoint last;
    };
    void makeRoom(TimePoint now);

    Clock clock_;
    std::mutex mutex_;
    std::map<std::string, Failures> failures_;
};

} // namespace parlowen::service
