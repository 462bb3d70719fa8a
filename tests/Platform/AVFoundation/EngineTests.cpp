#include "Sounds.h"

#include <AVFoundation/AVAudioEngine.h>
#include <gmock/gmock.h>
#include <support/FakeCapture.h>

namespace parlowen::testing {
namespace {

class EngineTest : public ::testing::Test {
protected:
    EngineTest() {
        input->pace = [](std::chrono::milliseconds) { std::this_thread::yield(); };
    }

    const std::shared_ptr<FakeInput> input = std::make_shared<FakeInput>();
    const AVAudioFormat format = *input->format;
    Collector sound;
    AVAudioEngine engine{[this] { return std::make_unique<FakeCapture>(input); }};
    AVAudioInputNode& node = engine.inputNode();
};

TEST_F(EngineTest, DeliversToTheTapAndLooksTheInputUpAnewForEachStart) {
    EXPECT_EQ(node.outputFormat(0), format);
    EXPECT_EQ(node.outputFormat(1), std::nullopt);
    node.installTap(1, 512, format, [](const Buffer&) { ADD_FAILURE() << "there is no bus 1"; });
    node.installTap(0, 1234, format, [this](Buffer buffer) { sound.take(std::move(buffer)); });
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(engine.isRunning());
    EXPECT_TRUE(engine.start());
    EXPECT_TRUE(sound.waitForCount(5));
    EXPECT_EQ(input->framesPerBuffer, 1234U);
    EXPECT_EQ(input->made, 1) << "the input that was looked up is the one that is captured";
    engine.stop();
    EXPECT_FALSE(engine.isRunning());
    EXPECT_EQ(input->alive, 0);

    const std::size_t before = sound.buffers().size();
    input->format = floatFormat(44100, 2);
    EXPECT_EQ(node.outputFormat(0), floatFormat(44100, 2));
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(sound.waitForCount(before + 3)) << "the tap outlives a stop";
    EXPECT_EQ(input->made, 2);
}

/// The block is still busy when its removal begins: the removal has to wait for it.
TEST_F(EngineTest, CallsNoTapAfterItsRemoval) {
    ASSERT_TRUE(engine.start());
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> inside = false, removing = false, removed = false;
        node.installTap(0, 2048, format, [&](const Buffer&) {
            inside = true;
            inside.notify_all();
            removing.wait(false);
            for (int turn = 0; turn < 200; ++turn)
                std::this_thread::yield();
            EXPECT_FALSE(removed);
        });
        inside.wait(false);
        removing = true;
        removing.notify_all();
        node.removeTap(0);
        removed = true;
    }
    std::atomic<int> calls = 0;
    node.installTap(0, 2048, format, [&](const Buffer&) {
        node.removeTap(0); // its own
        ++calls;
        calls.notify_all();
    });
    calls.wait(0);
    engine.stop();
    EXPECT_EQ(calls, 1);
}

TEST_F(EngineTest, SaysWhyItDoesNotStartAndCanTryAgain) {
    node.installTap(0, 2048, format, [this](Buffer buffer) { sound.take(std::move(buffer)); });
    input->startError = QStringLiteral("it is busy");
    const Result<void> failed = engine.start();
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), QStringLiteral("it is busy"));
    EXPECT_FALSE(engine.isRunning());
    EXPECT_EQ(input->alive, 0);
    input->startError.reset();
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
    EXPECT_EQ(input->alive, 0);
}

} // namespace
} // namespace parlowen::testing
