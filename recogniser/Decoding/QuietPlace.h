#pragma once

#include <cstddef>
#include <span>

namespace parlowen::recogniser {

/// The middle of the quietest 60 ms of the samples from `first` on (16 kHz); the end when they are shorter.
template<typename Sample>
std::size_t quietPlace(std::span<const Sample> samples, std::size_t first) {
    constexpr std::size_t window = 960;
    constexpr std::size_t step = 160;
    std::size_t best = samples.size();
    double least = 0;
    for (std::size_t at = first; at + window <= samples.size(); at += step) {
        double energy = 0;
        for (const auto sample : samples.subspan(at, window))
            energy += static_cast<double>(sample) * static_cast<double>(sample);
        if (best == samples.size() || energy < least) {
            best = at + window / 2;
            least = energy;
        }
    }
    return best;
}

} // namespace parlowen::recogniser
