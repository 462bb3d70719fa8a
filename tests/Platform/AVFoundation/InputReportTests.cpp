#include "Sounds.h"
#include "support/Testing.h"
#include <AVFoundation/CaptureTimeline.h>
#include <AVFoundation/InputReport.h>
#include <AVFoundation/LevelControl.h>
#include <random>
#include <support/CapturedLog.h>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using State = InputStatus::State;

struct InputReportTest : ::testing::Test {
    /// Seconds of a tone of that peak on the last of two channels, clipped at full scale.
    void hear(double peak, int seconds) {
        const Wave tone = toneOf(1000, 48000);
        const Buffer buffer = bufferOf(floatFormat(48000, 2), 4800, [&](std::size_t frame, int channel) {
            return channel == 1 ? std::clamp(2 * peak * tone(frame, channel), -1.0, 1.0) : 0.0;
        });
        for (int i = 0; i < seconds * 10; ++i)
            report.heard(*buffer, now += 100ms);
    }
    void listen(InputKind kind, const char* name) { report.listening(kind, QString::fromUtf8(name), now); }

    InputReport::Time now = 1s;
    std::vector<InputStatus> told;
    std::vector<double> missed;
    const std::shared_ptr<InputMeter> meter = std::make_shared<InputMeter>();
    InputReport report{{[this](const InputStatus& status) { told.push_back(status); },
                        [this](double seconds) { missed.push_back(seconds); }, meter}};
    const CapturedLog log;
};

TEST_F(InputReportTest, CountsTheSecondsOfSilenceTellsEachChangeOnceAndMetersTheSound) {
    listen(InputKind::SystemSound, "Call");
    EXPECT_EQ(told.back().state, State::Listening);
    hear(0.0004, 3);
    EXPECT_TRUE(told.back().quietSeconds == 3 && !told.back().heardSound);
    EXPECT_EQ(told.size(), 4U);
    hear(0.25, 1);
    EXPECT_TRUE(told.back().quietSeconds == 0 && told.back().heardSound);
    EXPECT_NEAR(meter->take(), 0.25, 0.01);
    EXPECT_EQ(meter->take(), 0);
    for (const double peak : {1.5, 0.5}) {
        hear(peak, 1);
        EXPECT_EQ(told.back().clipping, peak > 1);
    }
    report.setDevice(QStringLiteral("Call"), true);
    EXPECT_TRUE(told.back().muted);
}

TEST_F(InputReportTest, SaysOnceInTheLogThatAnInputIsSilentOrOfAnotherKind) {
    listen(InputKind::SystemSound, "Call");
    hear(0, 9);
    EXPECT_EQ(log.lines().size(), 1);
    hear(0, 2);
    EXPECT_EQ(log.lines().size(), 2) << "ten seconds at the start, thirty later";
    hear(0.5, 2);
    hear(0, 29);
    hear(1.5, 2);
    EXPECT_THAT(log.lines(),
                ElementsAre("[capture] 正在监听：Call（系统声音）",
                            "⚠️ 输入设备没有声音：Call（系统声音）", "✅ 输入设备有声音了：Call",
                            "⚠️ 输入设备声音过大，已失真：Call"));
    listen(InputKind::Microphone, "Mic");
    EXPECT_EQ(log.lines().at(4), "[capture] ⚠️ 输入类型已改变：系统声音 → 麦克风");
}

TEST_F(InputReportTest, TellsWhatBecomesOfTheInputAndOfEachGapOfASecondOrMore) {
    listen(InputKind::SystemSound, "Call");
    report.setElsewhere(QStringLiteral("uid"), QStringLiteral("Other"));
    report.inputLost();
    EXPECT_EQ(told.back().state, State::InputLost);
    EXPECT_EQ(told.back().name, "Call");
    EXPECT_EQ(told.back().elsewhereUID + told.back().elsewhereName, "") << "what plays elsewhere is not known now";
    report.serverLost(QStringLiteral("gone"));
    report.serverLost(QStringLiteral("still gone"));
    EXPECT_EQ(told.back().problem, "gone");
    report.tick(now += 5s);
    EXPECT_EQ(told.size(), 4U) << "a lost input is not quiet";
    report.noInput(InputKind::Application, QStringLiteral("zoom"));
    EXPECT_EQ(told.back().name, "zoom");
    listen(InputKind::SystemSound, "Call");
    EXPECT_EQ(told.back().problem, "");
    report.gap(0.9, 0.9);
    report.gap(20, 2);
    EXPECT_THAT(missed, ElementsAre(20));
}

constexpr std::size_t tenMilliseconds = 480; ///< in frames

struct CaptureTimelineTest : ::testing::Test {
    /// Returns the seconds that were missed before it; -1 when nothing was interrupted.
    double sound(CaptureTimeline::Time now) {
        const std::vector<float> ones(tenMilliseconds, 1.F);
        const auto gap = timeline.arrive(tenMilliseconds, now);
        timeline.append(ones.data(), tenMilliseconds);
        return gap ? gap->missed : -1;
    }
    /// Sound is 1, the silence between is 0; 10 ms a letter.
    std::string heard() {
        std::string text;
        for (const Buffer& buffer : collector.buffers())
            text += buffer->floatChannelData(0)[0] > 0.5F ? '1' : '0';
        return text;
    }

    Collector collector;
    CaptureTimeline timeline{floatFormat(48000, 1), tenMilliseconds,
                             [this](Buffer buffer) { collector.take(std::move(buffer)); }};
};

TEST_F(CaptureTimelineTest, PutsInTheSilenceThatIsMissingAsTimePassesAndTheRestWhenSoundIsBack) {
    EXPECT_EQ(sound(5s), -1);
    EXPECT_EQ(sound(5s + 10ms), -1);
    timeline.interrupt();
    timeline.fill(5s + 100ms);
    EXPECT_EQ(heard(), "11") << "sound may still be on its way";
    timeline.fill(5s + 140ms);
    EXPECT_EQ(heard(), "11000");
    EXPECT_TRUE(timeline.isInterrupted());
    EXPECT_NEAR(sound(5s + 220ms), 0.2, 1e-4);
    EXPECT_FALSE(timeline.isInterrupted());
    EXPECT_EQ(heard(), "11" + std::string(20, '0') + "1");
    EXPECT_EQ(sound(5s + 230ms), -1);
    timeline.interrupt();
    EXPECT_EQ(sound(5s + 240ms), 0) << "told of, though nothing is missing";
}

TEST_F(CaptureTimelineTest, BearsSlowSourcesAndTakesOneThatGivesNothingForSilentInTheEnd) {
    timeline.interrupt();
    timeline.fill(30s);
    EXPECT_EQ(sound(40s), -1) << "nothing is missing before the first sound";
    timeline.fill(40s + 900ms);
    EXPECT_EQ(sound(40s + 950ms), -1) << "a source that is slow is not one that gives nothing";
    EXPECT_EQ(heard(), "11");
    timeline.fill(47s);
    EXPECT_EQ(heard().find("11000"), 0U);
    EXPECT_NEAR(sound(47s), 6.0, 0.1);
}

TEST_F(CaptureTimelineTest, TellsOfAllThatIsMissedAndFillsTwoSecondsOfIt) {
    sound(1s);
    timeline.interrupt();
    for (auto now = 1s; now < 601s; now += 1s)
        timeline.fill(now);
    EXPECT_NEAR(sound(601s), 600, 0.1);
    EXPECT_EQ(heard().size(), 1U + 200U + 1U);
    EXPECT_NEAR(sound(621s), 20, 0.1) << "a program that was stopped hears late, though nothing was interrupted";
    EXPECT_EQ(heard().size(), 202U + 200U + 1U);
    timeline.interrupt();
    const auto gap = timeline.open(625s);
    ASSERT_TRUE(gap);
    EXPECT_NEAR(gap->missed, 4, 0.1);
    EXPECT_EQ(sound(627s), -1) << "a source that was only just opened may be late";
    EXPECT_NEAR(sound(629s), 2, 0.1);
    for (auto now = 629s; now <= 660s; now += 1s)
        timeline.rest(now);
    EXPECT_EQ(sound(660s), -1) << "nothing is missed of a program that does not play";
    timeline.rest(670s);
    timeline.interrupt();
    EXPECT_NEAR(sound(670s + 10ms), 0, 0.2) << "nor when its server goes meanwhile";
}

TEST_F(CaptureTimelineTest, JoinsWhatComesInPiecesFrameByFrame) {
    CaptureTimeline stereo{floatFormat(48000, 2), 4, [this](Buffer buffer) { collector.take(std::move(buffer)); }};
    const std::vector<float> samples{1, 2, 3, 4, 5, 6, 7, 8};
    stereo.append(samples.data(), 1);
    stereo.append(samples.data() + 2, 3);
    const float* joined = collector.buffers().at(0)->floatChannelData(0);
    EXPECT_EQ(std::vector<float>(joined, joined + 8), samples);
}

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

struct LevelControlTest : ::testing::Test {
    Sound after(Sound sound) {
        for (std::size_t at = 0; at < sound.size(); at += 682)
            control_.apply(sound.data() + at, std::min<std::size_t>(682, sound.size() - at));
        return sound;
    }
    LevelControl control_{rate};
};

TEST_F(LevelControlTest, LoudSpeechPassesAsItIsQuietSpeechIsRaisedAndHeldAndALoudVoiceBehindItIsNotClipped) {
    for (const double level : {-28.0, -10.0, 0.0}) {
        const Sound sound = speech(5, level);
        EXPECT_EQ(after(sound), sound) << level;
    }
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

TEST_F(LevelControlTest, WhatHasNoSyllablesIsNotRaisedAndNoiseUnderQuietSpeechStaysLow) {
    for (const bool hum : {true, false}) {
        after(Sound(2 * rate));
        after(steady(20, -70, hum));
        EXPECT_EQ(control_.gain(), 0) << hum;
    }
    after(steady(0.1, -50)); // a knock
    after(Sound(2 * rate));
    EXPECT_EQ(control_.gain(), 0);
    Sound sound = speech(5, -60);
    const Sound noise = steady(5, -80);
    std::transform(sound.begin(), sound.end(), noise.begin(), sound.begin(), std::plus<>());
    after(sound);
    EXPECT_NEAR(control_.gain(), 30, 2);
}

} // namespace
} // namespace parlowen::testing
