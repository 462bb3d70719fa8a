#include "SpeechToNoise.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <vector>

namespace parlowen::recogniser {

namespace {

constexpr std::size_t frame = 320; // samples

/// Mean squares of the whole frames.
std::vector<double> powersOf(std::span<const std::int16_t> samples) {
    std::vector<double> powers;
    for (; samples.size() >= frame; samples = samples.subspan(frame)) {
        const auto first = samples.first(frame);
        powers.push_back(std::inner_product(first.begin(), first.end(), first.begin(), 1.0) / first.size());
    }
    return powers;
}

} // namespace

double speechToNoise(std::span<const std::int16_t> samples) {
    auto powers = powersOf(samples);
    if (powers.empty())
        return std::numeric_limits<double>::infinity();
    std::sort(powers.begin(), powers.end());
    const double noise = powers[powers.size() / 10];
    const auto loud = std::lower_bound(powers.begin(), powers.end(), powers.back() / 1'000);
    const double speech = std::accumulate(loud, powers.end(), 0.0) / static_cast<double>(powers.end() - loud);
    return 10 * std::log10(speech / noise);
}

} // namespace parlowen::recogniser
