#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "TemporaryDirectory.h"

/// Recordings with their words, and noise for them.
namespace parlowen::testing {

using Samples = std::vector<std::int16_t>; ///< mono, 16 kHz

struct Recording {
    std::string name;
    Samples samples;
    std::string words;
};

inline Samples samplesOf(const std::filesystem::path& wave) {
    const auto bytes = contentsOf(wave);
    const auto data = bytes.find("data") + 8;
    Samples samples((bytes.size() - data) / 2);
    std::memcpy(samples.data(), bytes.data() + data, samples.size() * 2);
    return samples;
}

inline Recording sampleInterview(const std::filesystem::path& source) {
    const auto folder = source / "resources/sample-interview";
    return {"sample", samplesOf(folder / "sample-interview.wav"), contentsOf(folder / "sample-interview.txt")};
}

/// A person; needs Debian's pocketsphinx-testdata.
inline Recording sampleReading(const std::filesystem::path& source) {
    const std::filesystem::path folder = "/usr/share/pocketsphinx/test/data/librivox";
    const Samples pause(16'000 * 12 / 10);
    Samples all = pause;
    for (const char* number : {"0870", "0880", "0890", "0920", "0930"}) {
        const auto part = samplesOf(folder / ("sense_and_sensibility_01_austen_64kb-" + std::string(number) + ".wav"));
        all.insert(all.end(), part.begin(), part.end());
        all.insert(all.end(), pause.begin(), pause.end());
    }
    return {"reading", all, contentsOf(source / "resources/sample-reading/sample-reading.txt")};
}

/// With white noise so many decibels below the speech (the frames of 20 ms within 30 dB of the loudest).
inline Recording withNoise(Recording recording, int decibels) {
    constexpr std::size_t frame = 320;
    std::vector<double> powers;
    for (std::size_t at = 0; at + frame <= recording.samples.size(); at += frame) {
        double sum = 0;
        for (const auto sample : std::span(recording.samples).subspan(at, frame))
            sum += double{1} * sample * sample;
        powers.push_back(sum / frame);
    }
    const double loudest = *std::max_element(powers.begin(), powers.end());
    std::erase_if(powers, [loudest](double power) { return power < loudest / 1'000; });
    double sum = 0;
    for (const double power : powers)
        sum += power;
    const double deviation = std::sqrt(sum / static_cast<double>(powers.size()) / std::pow(10, decibels / 10.0));
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same noise every time
    std::normal_distribution<double> noise(0, deviation);
    for (auto& sample : recording.samples)
        sample = static_cast<std::int16_t>(std::clamp(sample + noise(random), -32'768.0, 32'767.0));
    recording.name += ", noise at " + std::to_string(decibels) + " dB";
    return recording;
}

/// Where there is sound, from and to, in samples: frames of 10 ms above -46 dB, gaps of less than 0.6 s closed.
inline std::vector<std::pair<std::int64_t, std::int64_t>> soundsOf(const Samples& samples) {
    constexpr std::int64_t frame = 160;
    constexpr std::int64_t shortestGap = 9'600;
    constexpr int threshold = 160;
    std::vector<std::pair<std::int64_t, std::int64_t>> sounds;
    for (std::int64_t at = 0; at + frame <= static_cast<std::int64_t>(samples.size()); at += frame) {
        const auto piece = std::span(samples).subspan(static_cast<std::size_t>(at), frame);
        if (std::none_of(piece.begin(), piece.end(), [](int sample) { return std::abs(sample) > threshold; }))
            continue;
        if (!sounds.empty() && at - sounds.back().second < shortestGap)
            sounds.back().second = at + frame;
        else
            sounds.emplace_back(at, at + frame);
    }
    return sounds;
}

} // namespace parlowen::testing
