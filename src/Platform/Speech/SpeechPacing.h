#pragma once

#include <chrono>
#include <cstddef>

namespace parlowen {

/// How fast a turn's audio goes out: its first 5 s at once, what follows at no more than twice real time. A value.
class SpeechPacing {
public:
    using Clock = std::chrono::steady_clock;

    explicit SpeechPacing(Clock::time_point now)
        : last_(now) {}

    /// How long to wait before that many bytes may go; 0 when they may go now.
    std::chrono::milliseconds wait(std::size_t bytes, Clock::time_point now);
    void sent(std::size_t bytes) { credit_ -= static_cast<double>(bytes); }

private:
    static constexpr double bytesPerMillisecond = 2 * 32.0;
    static constexpr double unthrottled = 5 * 32'000.0;
    /// The most that gathers again later: 0.2 s of audio, so that late timers do not slow it down.
    static constexpr double burst = 6400.0;

    double credit_ = unthrottled;
    Clock::time_point last_;
};

} // namespace parlowen
