#pragma once

#include <chrono>
#include <cstddef>

namespace parlowen::recogniser {

/// How many streams at once the machine can serve so that each has its finals in time. Learns from every decoding that
/// a final waits for; what was learned while the machine was busy does not outlast ten seconds in which nobody spoke. A
/// value.
class DecodingLoad {
public:
    using Clock = std::chrono::steady_clock;

    explicit DecodingLoad(unsigned decodingThreads)
        : threads_(decodingThreads) {}

    /// `audioSeconds` were decoded in `took`, and were `waited` for from the moment on that they were there.
    void add(double audioSeconds, Clock::duration took, Clock::duration waited, Clock::time_point now);
    /// 1 to 64; while finals come late, no more than there `are`.
    std::size_t capacity(Clock::time_point now, std::size_t are = 1) const;

private:
    unsigned threads_;
    double cost(Clock::time_point now) const;

    double costPerSecond_ = 0; ///< seconds of a thread for a second of audio, smoothed; 0: not known
    double firstCost_ = 0;     ///< when nothing else was decoded
    Clock::time_point lastAdded_{};
    Clock::time_point lateUntil_{};
};

} // namespace parlowen::recogniser
