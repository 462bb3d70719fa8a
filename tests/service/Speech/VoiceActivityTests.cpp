#include "Speech/VoiceActivity.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

using namespace parlowen::service;
using Kind = VoiceActivityDetector::Event::Kind;

namespace {

constexpr int rate = 16'000;
using Audio = std::vector<std::int16_t>;

/// A voice's rough shape: a hum of 180 Hz with overtones that swells four times a second, `peak` at its loudest.
Audio voice(double seconds, double peak = 6'000) {
    Audio audio(static_cast<std::size_t>(seconds * rate));
    for (std::size_t i = 0; i < audio.size(); ++i) {
        const double t = static_cast<double>(i) / rate;
        const double swell = 0.55 + 0.45 * std::sin(2 * std::numbers::pi * 4 * t);
        const double phase = 2 * std::numbers::pi * 180 * t;
        audio[i] = static_cast<std::int16_t>(peak / 2 * swell * (std::sin(phase) + 0.6 * std::sin(7 * phase)));
    }
    return audio;
}

Audio silence(double seconds) { return Audio(static_cast<std::size_t>(seconds * rate), 0); }

Audio operator+(Audio first, const Audio& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Audio withNoise(Audio audio, double deviation) {
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same noise every time
    std::normal_distribution<double> noise(0, deviation);
    for (auto& sample : audio)
        sample = static_cast<std::int16_t>(std::clamp(sample + noise(random), -32'000.0, 32'000.0));
    return audio;
}

struct Utterance {
    double start, end; ///< seconds
};

std::vector<Utterance> utterancesOf(const Audio& audio, std::size_t piece = 1'600) {
    VoiceActivityDetector detector;
    std::vector<Utterance> result;
    const auto take = [&](const VoiceActivityDetector::Event& event) {
        const double at = static_cast<double>(event.at) / rate;
        EXPECT_GE(event.decided, event.at);
        if (event.kind == Kind::Start)
            result.push_back({at, -1});
        else
            result.back().end = at;
    };
    for (std::size_t i = 0; i < audio.size(); i += piece)
        for (const auto& event : detector.feed(std::span(audio).subspan(i, std::min(piece, audio.size() - i))))
            take(event);
    if (const auto event = detector.finish())
        take(*event);
    return result;
}

} // namespace

TEST(VoiceActivity, SplitsAtLongPausesOnly) {
    for (const double noise : {0.0, 10.0, 250.0}) {
        const auto audio =
            withNoise(silence(1) + voice(1.5) + silence(0.25) + voice(1) + silence(1.2) + voice(2) + silence(1), noise);
        const auto found = utterancesOf(audio);
        ASSERT_EQ(found.size(), 2U) << noise;
        EXPECT_NEAR(found[0].start, 0.75, 0.1) << noise; // with its lead-in
        EXPECT_NEAR(found[0].end, 3.75, 0.15) << noise;
        EXPECT_NEAR(found[1].start, 4.7, 0.1) << noise;
        EXPECT_NEAR(found[1].end, 6.95, 0.15) << noise;
    }
}

TEST(VoiceActivity, HowTheAudioIsCutMakesNoDifference) {
    const auto audio = withNoise(silence(0.6) + voice(1) + silence(1) + voice(1.3) + silence(0.7), 30);
    const auto whole = utterancesOf(audio, audio.size());
    ASSERT_EQ(whole.size(), 2U);
    for (const std::size_t piece : {1U, 159U, 161U, 4'001U}) {
        const auto cut = utterancesOf(audio, piece);
        ASSERT_EQ(cut.size(), whole.size()) << piece;
        for (std::size_t i = 0; i < cut.size(); ++i) {
            EXPECT_EQ(cut[i].start, whole[i].start) << piece;
            EXPECT_EQ(cut[i].end, whole[i].end) << piece;
        }
    }
}

TEST(VoiceActivity, ClicksSteadyNoiseAndOffsetAreNoSpeech) {
    EXPECT_TRUE(utterancesOf(silence(1) + voice(0.03, 20'000) + silence(2)).empty());
    EXPECT_TRUE(utterancesOf(withNoise(silence(30), 300)).empty());
    EXPECT_TRUE(utterancesOf(Audio(rate * 3, 2'000)).empty());
}

TEST(VoiceActivity, EndlessSpeechIsCutAndNothingOfItIsLost) {
    const auto found = utterancesOf(silence(0.5) + withNoise(voice(50), 20) + silence(1));
    ASSERT_GE(found.size(), 3U);
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_LE(found[i].end - found[i].start, 20.01);
        if (i > 0) {
            EXPECT_GE(found[i].start, found[i - 1].end);
            EXPECT_LE(found[i].start - found[i - 1].end, 0.2);
        }
    }
    EXPECT_NEAR(found.back().end, 50.5, 0.15);
}
