#include <AVFoundation/CaptureTimeline.h>
#include <gtest/gtest.h>

#include "Sounds.h"

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t frames = 480; ///< ten milliseconds

class CaptureTimelineTest : public ::testing::Test {
protected:
    /// Returns the seconds that were missed before it; -1 when nothing was interrupted.
    double sound(CaptureTimeline::Time now) {
        const std::vector<float> ones(frames, 1.F);
        const auto gap = timeline.arrive(frames, now);
        timeline.append(ones.data(), frames);
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
    CaptureTimeline timeline{floatFormat(48000, 1), frames,
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
}

} // namespace
} // namespace parlowen::testing
