#include <AVFoundation/InputReport.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>

#include "Sounds.h"

#include <algorithm>
#include <limits>

namespace parlowen::testing {
namespace {

using ::testing::ElementsAre;

/// A tenth of a second of a tone of that peak.
Buffer toneOfPeak(double peak, int channels = 2, bool interleaved = true) {
    const Wave tone = toneOf(1000, 48000);
    return bufferOf(floatFormat(48000, channels, interleaved), 4800, [&](std::size_t frame, int channel) {
        return channel == channels - 1 ? std::clamp(2 * peak * tone(frame, channel), -1.0, 1.0) : 0.0;
    });
}

TEST(InputLevelWatch, TellsSilenceFromFaintSoundOnAnyChannel) {
    using State = InputLevelWatch::State;
    InputLevelWatch watch;
    for (const bool interleaved : {true, false}) {
        EXPECT_EQ(watch.feed(*toneOfPeak(0, 2, interleaved)), State::Silent);
        EXPECT_EQ(watch.feed(*toneOfPeak(0.0004, 2, interleaved)), State::Silent);
        EXPECT_NEAR(watch.silentSeconds(), 0.2, 1e-9);
        EXPECT_EQ(watch.feed(*toneOfPeak(0.0006, 2, interleaved)), State::Sound);
        EXPECT_EQ(watch.silentSeconds(), 0);
        EXPECT_EQ(watch.feed(*toneOfPeak(0.99, 2, interleaved)), State::Sound);
        EXPECT_EQ(watch.feed(*toneOfPeak(1.5, 2, interleaved)), State::Clipping);
    }
    const Buffer bursts = toneOfPeak(0, 1);
    bursts->floatChannelData(0)[7] = 1.F;
    EXPECT_EQ(watch.feed(*bursts), State::Sound) << "one sample at full scale is no clipping";
    bursts->floatChannelData(0)[7] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(watch.feed(*bursts), State::Silent);
}

TEST(InputReport, SaysOnceThatAnInputIsSilentAndThatItIsNotAnyMore) {
    InputReport report;
    const CapturedLog log;
    const auto hear = [&report](double peak, int tenths) {
        const Buffer buffer = toneOfPeak(peak);
        for (int i = 0; i < tenths; ++i)
            report.heard(*buffer);
    };
    report.listening(QStringLiteral("Call"), InputKind::SystemSound);
    hear(0, 250);
    hear(0.5, 20);
    hear(0, 290);
    hear(1.5, 20);
    EXPECT_THAT(log.lines(),
                ElementsAre("[capture] 正在监听：Call（系统声音）",
                            "⚠️ 输入设备没有声音：Call（系统声音）", "✅ 输入设备有声音了：Call",
                            "⚠️ 输入设备声音过大，已失真：Call"));
    report.listening(QStringLiteral("Mic"), InputKind::Microphone);
    hear(0, 105);
    EXPECT_THAT(log.lines().mid(4), ElementsAre("[capture] ⚠️ 输入类型已改变：系统声音 → 麦克风",
                                                "[capture] 正在监听：Mic（麦克风）",
                                                "⚠️ 输入设备没有声音：Mic（麦克风）"));
}

} // namespace
} // namespace parlowen::testing
