#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// Lets something be said once a minute at most. Any thread, without a lock.
class OnceAMinute {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Whether it may be said now; if so, the next time is a minute away.
    bool isDue(Time now = std::chrono::steady_clock::now());

private:
    std::atomic<Time> next_{Time::min()};
};

/// What strangers can bring about as often as they like, in the log: at once, then a line a minute at most, with how
/// often each thing came about since the line before, and where it came from last. Cheap enough for a flood. Any
/// thread.
class CountedLine {
public:
    using Time = OnceAMinute::Time;
    using Say = std::function<void(std::string_view line)>;

    /// `outcomes` are worded to go behind their counts: "wrong".
    CountedLine(std::string kind, std::vector<std::string> outcomes, Say say);
    CountedLine(std::string kind, std::vector<std::string> outcomes);

    /// An empty address is a proxy's, which speaks for many.
    void count(std::size_t outcome, std::string_view address, Time now = std::chrono::steady_clock::now());
    /// Counts and says nothing yet, for whoever holds a lock.
    void countQuietly(std::size_t outcome, std::string_view address, Time now = std::chrono::steady_clock::now());
    /// Says what was counted and not said yet, once its minute is over.
    void sayDue(Time now = std::chrono::steady_clock::now());
    /// Says it whether that is over or not.
    void sayRest(Time now = std::chrono::steady_clock::now());

private:
    std::string taken(Time now);

    const std::string kind_;
    const std::vector<std::string> outcomes_;
    const Say say_;
    OnceAMinute minute_;
    std::mutex mutex_;
    std::vector<std::uint64_t> counts_; ///< by outcome
    std::string address_;
    Time since_;
};

/// The lines of this process.
struct CountedLines {
    enum SignIn { Wrong, ToWait, WithoutPlace };
    CountedLine signIns{"sign-ins", {"wrong", "told to wait", "found no place"}};
    enum Code { CodeToWait, CodeWithoutPlace, CodeWithoutCaptcha };
    CountedLine codes{"login codes", {"told to wait", "found no place", "without a captcha that is good"}};
    enum Speech { SpeechWithoutPlace, SpeechUnderLoad };
    CountedLine speech{"connections for speech", {"found no place", "refused for load"}};
    enum Connection { Refused, GaveWay };
    CountedLine connections{"connections", {"refused for room", "cut to make room"}};
    const std::array<CountedLine*, 4> all{&signIns, &codes, &speech, &connections};

    void sayDue();
    void sayRest();
};
CountedLines& countedLines();

} // namespace parlowen::service
