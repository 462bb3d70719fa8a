#include "Sounds.h"

#include <AVFoundation/AVAudioEngine.h>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace parlowen::testing {
namespace {

/// What the sources of one engine are to do, and what was asked of them.
struct Plan {
    std::atomic<int> made = 0, alive = 0;
    std::atomic<std::uint32_t> framesPerBuffer = 0;
    std::atomic<double> rate = 48000;
    std::atomic<bool> failsToStart = false;
};

/// Delivers buffers as fast as they are taken, on a thread of its own.
class BusySource : public CaptureSource {
public:
    explicit BusySource(Plan& plan)
        : plan_(plan) {
        ++plan_.made;
        ++plan_.alive;
    }
    ~BusySource() override {
        BusySource::stop();
        --plan_.alive;
    }
    std::optional<AVAudioFormat> format() override {
        return AVAudioFormat::make(AVAudioCommonFormat::Float32, plan_.rate, 2, true);
    }
    Result<void> start(std::uint32_t framesPerBuffer, Sink sink) override {
        plan_.framesPerBuffer = framesPerBuffer;
        if (plan_.failsToStart)
            return failure(QStringLiteral("it is busy"));
        running_ = true;
        thread_ = std::thread([this, sink = std::move(sink)] {
            for (; running_; std::this_thread::yield())
                sink(AVAudioPCMBuffer::make(floatFormat(48000, 2), 16));
        });
        return {};
    }
    void stop() override {
        running_ = false;
        if (thread_.joinable())
            thread_.join();
    }

private:
    Plan& plan_;
    std::atomic<bool> running_ = false;
    std::thread thread_;
};

class EngineTest : public ::testing::Test {
protected:
    Plan plan;
    Collector sound;
    AVAudioEngine engine{[this] { return std::make_unique<BusySource>(plan); }};
    AVAudioInputNode& node = engine.inputNode();
    const AVAudioFormat format = floatFormat(48000, 2);
};

} // namespace

TEST_F(EngineTest, DeliversToTheTapAndLooksTheInputUpAnewForEachStart) {
    EXPECT_EQ(node.outputFormat(0), format);
    EXPECT_EQ(node.outputFormat(1), std::nullopt);
    node.installTap(1, 512, format, [](const Buffer&) { ADD_FAILURE() << "there is no bus 1"; });
    node.installTap(0, 1234, format, [this](Buffer buffer) { sound.take(std::move(buffer)); });
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(engine.isRunning());
    EXPECT_TRUE(engine.start()) << "a start of a running engine is nothing";
    EXPECT_TRUE(sound.waitForCount(5));
    EXPECT_EQ(plan.framesPerBuffer, 1234U);
    EXPECT_EQ(plan.made, 1) << "the input that was looked up is the one that is captured";
    engine.stop();
    EXPECT_FALSE(engine.isRunning());
    EXPECT_EQ(plan.alive, 0);

    const std::size_t before = sound.buffers().size();
    plan.rate = 44100;
    EXPECT_EQ(node.outputFormat(0), floatFormat(44100, 2));
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(sound.waitForCount(before + 3)) << "the tap outlives a stop";
    EXPECT_EQ(plan.made, 2);
}

/// The block is still busy when its removal begins: the removal has to wait for it.
TEST_F(EngineTest, CallsNoTapAfterItsRemoval) {
    ASSERT_TRUE(engine.start());
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> inside = false, removing = false, removed = false;
        node.installTap(0, 2048, format, [&](const Buffer&) {
            inside = true;
            while (!removing)
                std::this_thread::yield();
            for (int turn = 0; turn < 200; ++turn)
                std::this_thread::yield();
            EXPECT_FALSE(removed);
        });
        std::thread([&] {
            while (!inside)
                std::this_thread::yield();
            removing = true;
            node.removeTap(0);
            removed = true;
        }).join();
    }
    EXPECT_TRUE(engine.isRunning());
}

TEST_F(EngineTest, LetsABlockRemoveItsOwnTap) {
    std::atomic<int> calls = 0;
    node.installTap(0, 2048, format, [&](const Buffer&) {
        node.removeTap(0);
        ++calls;
    });
    ASSERT_TRUE(engine.start());
    while (calls == 0)
        std::this_thread::yield();
    engine.stop();
    EXPECT_EQ(calls, 1);
}

TEST_F(EngineTest, SaysWhyItDoesNotStartAndCanTryAgain) {
    node.installTap(0, 2048, format, [this](Buffer buffer) { sound.take(std::move(buffer)); });
    plan.failsToStart = true;
    const Result<void> failed = engine.start();
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), QStringLiteral("it is busy"));
    EXPECT_FALSE(engine.isRunning());
    EXPECT_EQ(plan.alive, 0);
    engine.stop();
    plan.failsToStart = false;
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(sound.waitForCount(1));
    EXPECT_FALSE(AVAudioEngine({}).start());
}

TEST_F(EngineTest, BearsStartsAndStopsOnSeveralThreads) {
    std::atomic<bool> stopped = false;
    node.installTap(0, 2048, format, [&stopped](const Buffer&) { EXPECT_FALSE(stopped); });
    const auto toggle = [this] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_TRUE(engine.start());
            engine.stop();
        }
    };
    std::thread other(toggle);
    toggle();
    other.join();
    engine.stop();
    stopped = true;
    EXPECT_FALSE(engine.isRunning());
    EXPECT_EQ(plan.alive, 0);
}

} // namespace parlowen::testing
