#include "DecodingLoad.h"

#include <algorithm>
#include <cmath>

namespace parlowen::recogniser {

namespace {

using namespace std::chrono_literals;

constexpr double smoothing = 0.1;
constexpr double shortestMeasured = 1; // seconds; the fixed cost of a decoding spoils what is shorter
// Measured with 2 threads: at 0.4 of them for finals alone, the rest for partials, finals come half a second late.
constexpr double shareForFinals = 0.4;
constexpr double mostStreams = 64;
constexpr auto lateAfter = 900ms;
constexpr auto lateFor = 10s;
constexpr auto learnedFor = 10s;

double seconds(DecodingLoad::Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

} // namespace

void DecodingLoad::add(double audioSeconds, Clock::duration took, Clock::duration waited, Clock::time_point now) {
    if (waited > lateAfter)
        lateUntil_ = now + lateFor;
    if (audioSeconds < shortestMeasured)
        return;
    const double measured = seconds(took) / audioSeconds;
    const double before = cost(now);
    costPerSecond_ = before == 0 ? measured : (1 - smoothing) * before + smoothing * measured;
    firstCost_ = firstCost_ == 0 ? measured : firstCost_;
    lastAdded_ = now;
}

double DecodingLoad::cost(Clock::time_point now) const {
    return now - lastAdded_ > learnedFor ? std::min(costPerSecond_, firstCost_) : costPerSecond_;
}

std::size_t DecodingLoad::capacity(Clock::time_point now, std::size_t are) const {
    if (now < lateUntil_)
        return std::max<std::size_t>(1, are);
    const double perSecond = cost(now);
    if (perSecond == 0)
        return 1;
    return static_cast<std::size_t>(std::clamp(std::floor(threads_ * shareForFinals / perSecond), 1.0, mostStreams));
}

} // namespace parlowen::recogniser
