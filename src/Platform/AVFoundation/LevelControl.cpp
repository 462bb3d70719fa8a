#include "LevelControl.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace parlowen {

namespace {

constexpr double pieceSeconds = 0.01;
constexpr double windowSeconds = 0.5;
constexpr double modulation = 8;          // dB between a syllable's peak and what is before and after it
constexpr double shortestSyllable = 0.04; // seconds
constexpr double longestSyllable = 1.2;
constexpr double audible = -100; // dB; a float signal's own dirt is below
constexpr std::size_t leastSyllables = 3;
constexpr std::size_t enoughQuiet = 5; // syllables, each so far below the loudness:
constexpr double farBelow = 20;        // dB
constexpr double loudEnough = -30;     // dB, as all levels
constexpr double target = -20;
constexpr double highestFloor = -50;
constexpr float highestPeak = 0.7F;
constexpr double risePerSecond = 40; // dB
constexpr double fallPerSecond = 400;

struct Measure {
    double power;
    float peak;
};

/// In eight lanes, which the compiler turns into vectors.
Measure measure(const float* samples, std::size_t count) {
    constexpr std::size_t lanes = 8;
    std::array<float, lanes> sums{};
    std::array<float, lanes> peaks{};
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const float sample = samples[i + lane];
            const float size = sample < 0 ? -sample : sample;
            sums[lane] += sample * sample;
            peaks[lane] = peaks[lane] > size ? peaks[lane] : size;
        }
    }
    for (; i < count; ++i) {
        sums[0] += samples[i] * samples[i];
        peaks[0] = std::max(peaks[0], std::abs(samples[i]));
    }
    double sum = 0;
    for (const float part : sums)
        sum += static_cast<double>(part);
    return {sum / static_cast<double>(count), *std::max_element(peaks.begin(), peaks.end())};
}

double decibels(double power) { return 10 * std::log10(power); }

/// Scales by a factor that goes from one value to another.
void ramp(float* samples, std::size_t count, float from, float to) {
    const float step = (to - from) / static_cast<float>(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] *= from + step * static_cast<float>(static_cast<int>(i) + 1);
}

} // namespace

LevelControl::LevelControl(double sampleRate)
    : sampleRate_(sampleRate)
    , pieceLength_(std::max<std::size_t>(1, static_cast<std::size_t>(sampleRate * pieceSeconds))) {
    floors_.fill(0);
}

void LevelControl::apply(float* samples, std::size_t count) {
    const std::size_t pieces = std::max<std::size_t>(1, count / pieceLength_);
    for (std::size_t piece = 0, from = 0; piece < pieces && count > 0; ++piece) {
        const std::size_t to = count * (piece + 1) / pieces;
        applyPiece(samples + from, to - from);
        from = to;
    }
}

void LevelControl::applyPiece(float* samples, std::size_t count) {
    const auto [power, peak] = measure(samples, count);
    powers_[nextPower_] = power;
    nextPower_ = (nextPower_ + 1) % powers_.size();
    const double mean = (powers_[0] + powers_[1] + powers_[2]) / static_cast<double>(powers_.size());
    const double seconds = static_cast<double>(count) / sampleRate_;
    follow(std::max(decibels(mean), lowest), seconds);

    gain_ = std::clamp(wanted_, gain_ - fallPerSecond * seconds, gain_ + risePerSecond * seconds);
    float to = gain_ == 0 ? 1.F : static_cast<float>(std::pow(10, gain_ / 20));
    const float highest = std::max(1.F, peak > 0 ? highestPeak / peak : 1e6F);
    if (to > highest) {
        to = highest;
        gain_ = 20 * std::log10(static_cast<double>(to));
    }
    const float from = std::min(factor_, highest);
    factor_ = to;
    if (from != 1.F || to != 1.F)
        ramp(samples, count, from, to);
}

/// Looks for syllables in the level, dB.
void LevelControl::follow(double level, double seconds) {
    trackFloor(level, seconds);
    sinceRise_ += seconds;
    if (rising_) {
        extreme_ = std::max(extreme_, level);
        if (level > extreme_ - modulation)
            return;
        if (sinceRise_ >= shortestSyllable && sinceRise_ <= longestSyllable && extreme_ > audible)
            addSyllable(extreme_);
        rising_ = false;
        extreme_ = level;
        return;
    }
    extreme_ = std::min(extreme_, level);
    if (level < extreme_ + modulation)
        return;
    rising_ = true;
    extreme_ = level;
    sinceRise_ = 0;
}

void LevelControl::addSyllable(double peak) {
    const bool isQuiet = syllableCount_ >= leastSyllables && peak < loudness() - farBelow;
    quietInARow_ = isQuiet ? quietInARow_ + 1 : 0;
    syllables_[syllableCount_++ % kept] = peak;
    if (quietInARow_ == enoughQuiet) {
        std::array<double, enoughQuiet> newest{};
        for (std::size_t i = 0; i < enoughQuiet; ++i)
            newest[i] = syllables_[(syllableCount_ - 1 - i) % kept];
        std::copy(newest.begin(), newest.end(), syllables_.begin());
        syllableCount_ = enoughQuiet;
        quietInARow_ = 0;
    }
    wanted_ = wantedGain();
}

/// The lowest level of the last four seconds.
void LevelControl::trackFloor(double level, double seconds) {
    if (!heardAny_)
        floors_.fill(level);
    heardAny_ = true;
    floors_[window_] = std::min(floors_[window_], level);
    inWindow_ += seconds;
    if (inWindow_ < windowSeconds)
        return;
    inWindow_ = 0;
    window_ = (window_ + 1) % floorWindows;
    floors_[window_] = level;
}

/// The second highest of the syllables.
double LevelControl::loudness() const {
    std::array<double, kept> sorted = syllables_;
    const auto end = sorted.begin() + static_cast<std::ptrdiff_t>(std::min(syllableCount_, kept));
    std::partial_sort(sorted.begin(), sorted.begin() + 2, end, std::greater<>());
    return sorted[1];
}

double LevelControl::wantedGain() const {
    if (syllableCount_ < leastSyllables)
        return 0;
    const double heard = loudness();
    if (heard >= (wanted_ > 0 ? target : loudEnough))
        return 0;
    const double floor = *std::min_element(floors_.begin(), floors_.end());
    return std::clamp(std::min(target - heard, highestFloor - floor), 0.0, mostGain);
}

} // namespace parlowen
