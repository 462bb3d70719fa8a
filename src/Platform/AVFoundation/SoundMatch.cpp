#include "ChirpProbe.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace parlowen {

std::vector<float> makeChirp() {
    constexpr double rate = 16'000;
    constexpr double seconds = 0.25;
    constexpr double lowest = 500;
    constexpr double highest = 4000;
    constexpr double edge = 0.02; // seconds of fading, so that it does not click
    constexpr double peak = 0.25;
    std::vector<float> samples(static_cast<std::size_t>(rate * seconds));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double time = static_cast<double>(i) / rate;
        const double phase = 2 * std::numbers::pi * (lowest * time + (highest - lowest) * time * time / (2 * seconds));
        const double toEdge = std::min({time / edge, (seconds - time) / edge, 1.0});
        const double fade = std::sin(toEdge * std::numbers::pi / 2);
        samples[i] = static_cast<float>(peak * fade * fade * std::sin(phase));
    }
    return samples;
}

Match findSound(std::span<const float> sound, std::span<const float> recording) {
    Match best;
    const double soundEnergy = std::inner_product(sound.begin(), sound.end(), sound.begin(), 0.0);
    if (recording.size() < sound.size() || soundEnergy <= 0)
        return best;
    // Adding and taking away samples leaves a little energy in silence; below -100 dB there is no sound.
    const double silence = static_cast<double>(sound.size()) * 1e-10;
    double energy = std::inner_product(recording.begin(), recording.begin() + static_cast<std::ptrdiff_t>(sound.size()),
                                       recording.begin(), 0.0);
    for (std::size_t i = 0;; ++i) {
        const std::span<const float> part = recording.subspan(i, sound.size());
        if (energy > silence) {
            const double product = std::inner_product(sound.begin(), sound.end(), part.begin(), 0.0F);
            const double likeness = std::abs(product) / std::sqrt(soundEnergy * energy);
            if (likeness > best.likeness)
                best = {i, std::min(likeness, 1.0), std::abs(product) / soundEnergy};
        }
        if (i + sound.size() == recording.size())
            return best;
        const double leaving = part.front();
        const double coming = recording[i + sound.size()];
        energy += coming * coming - leaving * leaving;
    }
}

} // namespace parlowen
