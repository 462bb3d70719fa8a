#include <AVFoundation/InputReport.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>

#include "Sounds.h"

#include <algorithm>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using State = InputStatus::State;

class InputReportTest : public ::testing::Test {
protected:
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
    EXPECT_EQ(told.back().quietSeconds, 3);
    EXPECT_FALSE(told.back().heardSound);
    EXPECT_EQ(told.size(), 4U);
    hear(0.25, 1);
    EXPECT_EQ(told.back().quietSeconds, 0);
    EXPECT_TRUE(told.back().heardSound);
    EXPECT_NEAR(meter->take(), 0.25, 0.01);
    EXPECT_EQ(meter->take(), 0);
    hear(1.5, 1);
    EXPECT_TRUE(told.back().clipping);
    hear(0.5, 1);
    EXPECT_FALSE(told.back().clipping);
    EXPECT_EQ(told.size(), 7U);
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
    report.inputLost();
    EXPECT_EQ(told.back().state, State::InputLost);
    EXPECT_EQ(told.back().name, "Call");
    report.serverLost(QStringLiteral("gone"));
    report.serverLost(QStringLiteral("still gone"));
    EXPECT_EQ(told.back().problem, "gone");
    report.tick(now += 5s);
    EXPECT_EQ(told.size(), 3U) << "a lost input is not quiet";
    report.noInput(InputKind::Application, QStringLiteral("zoom"));
    EXPECT_EQ(told.back().name, "zoom");
    listen(InputKind::SystemSound, "Call");
    EXPECT_EQ(told.back().problem, "");
    report.gap(0.9, 0.9);
    report.gap(20, 2);
    EXPECT_THAT(missed, ElementsAre(20));
}

} // namespace
} // namespace parlowen::testing
