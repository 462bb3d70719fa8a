#include <AVFoundation/LevelControl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace parlowen::testing {
namespace {

constexpr std::size_t rate = 16'000;
using Sound = std::vector<float>;

float amplitude(double decibels) { return static_cast<float>(std::pow(10, decibels / 20)); }

Sound steady(double seconds, double decibels, bool hum = false) {
    std::minstd_rand random(1);
    std::normal_distribution<float> noise;
    Sound sound(static_cast<std::size_t>(seconds * rate));
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const auto angle = static_cast<float>(2 * std::numbers::pi * 50 * static_cast<double>(i) / rate);
        sound[i] = amplitude(decibels) * (hum ? std::sin(angle) : noise(random));
    }
    return sound;
}

/// Four syllables of noise a second, that peak at about the level.
Sound speech(double seconds, double decibels) {
    Sound sound = steady(seconds, decibels);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double swing = std::sin(std::numbers::pi * 4 * static_cast<double>(i) / rate);
        sound[i] *= static_cast<float>(swing * swing);
    }
    return sound;
}

float highest(const Sound& sound) {
    const auto [least, most] = std::ranges::minmax(sound);
    return std::max(-least, most);
}

class LevelControlTest : public ::testing::Test {
protected:
    /// In buffers as they are converted.
    Sound after(Sound sound) {
        for (std::size_t at = 0; at < sound.size(); at += 682)
            control_.apply(sound.data() + at, std::min<std::size_t>(682, sound.size() - at));
        return sound;
    }
    LevelControl control_{rate};
};

TEST_F(LevelControlTest, SpeechThatIsLoudEnoughPassesAsItIs) {
    for (const double level : {-28.0, -10.0, 0.0}) {
        const Sound sound = speech(5, level);
        EXPECT_EQ(after(sound), sound) << level;
    }
}

TEST_F(LevelControlTest, QuietSpeechIsRaisedAndHeldAndALoudVoiceBehindItIsNotClipped) {
    for (const double level : {-40.0, -75.0}) {
        after(speech(4, level)); // the second far below the first
        EXPECT_NEAR(level + control_.gain(), -20, 4) << level;
    }
    after(speech(12, -25));
    EXPECT_NEAR(-25 + control_.gain(), -20, 4) << "loud enough in itself, but not once speech is raised";
    const double gain = control_.gain();
    after(Sound(10 * rate));
    EXPECT_EQ(control_.gain(), gain) << "in a pause";
    const Sound loud = speech(3, -12);
    EXPECT_LE(highest(after(loud)), std::max(0.71F, highest(loud)));
    EXPECT_EQ(control_.gain(), 0);
}

TEST_F(LevelControlTest, WhatHasNoSyllablesIsNotRaised) {
    for (const bool hum : {true, false}) {
        after(Sound(2 * rate));
        after(steady(20, -70, hum));
        EXPECT_EQ(control_.gain(), 0) << hum;
    }
    after(steady(0.1, -50)); // a knock
    after(Sound(2 * rate));
    EXPECT_EQ(control_.gain(), 0);
}

} // namespace
} // namespace parlowen::testing
