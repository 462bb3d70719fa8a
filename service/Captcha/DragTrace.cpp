#include "DragTrace.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace parlowen::service {

namespace {

constexpr std::size_t leastSteps = 6;
constexpr std::size_t mostSteps = 2'000;
constexpr std::size_t leastDifferent = 4; // steps, by time and way
constexpr double shortest = 250;          // ms
constexpr double farthestStart = 40;      // pixels
constexpr double longestLeap = 160;       // pixels between two steps: a quick hand, on a busy machine
constexpr double clockSlack = 50;         // ms between the page's clock and this one

bool isOrderly(const DragStep& before, const DragStep& after) {
    return after.time >= before.time && std::abs(after.x - before.x) <= longestLeap;
}

/// How many different pairs of time and way there are; tenths of a millisecond are as fine as pages see time.
std::size_t differentSteps(const std::vector<DragStep>& trace) {
    std::set<std::pair<long, long>> different;
    for (std::size_t i = 1; i < trace.size(); ++i)
        different.emplace(std::lround((trace[i].time - trace[i - 1].time) * 10),
                          std::lround(trace[i].x - trace[i - 1].x));
    return different.size();
}

} // namespace

bool isDrag(const std::vector<DragStep>& trace, double x, std::chrono::milliseconds atMost) {
    if (trace.size() < leastSteps || trace.size() > mostSteps)
        return false;
    const double duration = trace.back().time - trace.front().time;
    const bool inTime = duration >= shortest && duration <= static_cast<double>(atMost.count()) + clockSlack;
    const bool fromLeftToPlace = trace.front().x <= farthestStart && std::abs(trace.back().x - x) <= 1;
    const bool orderly = std::adjacent_find(trace.begin(), trace.end(), [](const DragStep& a, const DragStep& b) {
                             return !isOrderly(a, b);
                         }) == trace.end();
    return inTime && fromLeftToPlace && orderly && differentSteps(trace) >= leastDifferent;
}

} // namespace parlowen::service
