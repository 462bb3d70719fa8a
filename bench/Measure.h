#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <vector>

/// What the benchmark programs share: timing a subject against a baseline of the same run, and the verdict line.
namespace parlowen::bench {

/// The value that the share (0 to 1) of the values does not exceed; 0 for none.
inline double percentile(std::vector<double> values, double share) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(std::lround(share * static_cast<double>(values.size() - 1)))];
}

inline double median(std::vector<double> values) { return percentile(std::move(values), 0.5); }

/// Medians over the rounds, in microseconds a call.
struct Comparison {
    double subject = 0;
    double baseline = 0;
    double ratio = 0; ///< the median of the rounds' own ratios
};

inline double microsecondsPerCall(const std::function<void()>& call, int calls) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i)
        call();
    const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count() / calls;
}

/// Times both by turns, so that whatever else the machine does meets both alike.
inline Comparison compare(const std::function<void()>& subject, const std::function<void()>& baseline, int rounds,
                          int callsPerRound) {
    std::vector<double> subjects;
    std::vector<double> baselines;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        baselines.push_back(microsecondsPerCall(baseline, callsPerRound));
        subjects.push_back(microsecondsPerCall(subject, callsPerRound));
        ratios.push_back(subjects.back() / baselines.back());
    }
    return {median(subjects), median(baselines), median(ratios)};
}

/// Prints the figure against its target (at most) and returns whether it is met.
inline bool judge(const char* what, double figure, double target, const char* unit) {
    const bool met = figure <= target;
    std::printf("%s %s: %.3f %s, target at most %.3f %s\n", met ? "OK  " : "MISS", what, figure, unit, target, unit);
    return met;
}

} // namespace parlowen::bench
