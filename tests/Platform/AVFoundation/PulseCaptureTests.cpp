#include "Sounds.h"

#include <AVFoundation/CaptureSource.h>
#include <support/PrivatePulseAudio.h>
#include <support/ServerSound.h>
#include <support/WaitFor.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <future>
#include <span>
#include <thread>

namespace parlowen::testing {
namespace {

using ::testing::StartsWith;

CaptureSource::Sink into(Collector& sound) {
    return [&sound](Buffer buffer) { sound.take(std::move(buffer)); };
}

class PulseCaptureTest : public ::testing::Test {
protected:
    void start(const QStringList& modules = PrivatePulseAudio::oneSink()) {
        server = std::make_unique<PrivatePulseAudio>(modules);
        ASSERT_TRUE(server->isReady()) << server->output().toStdString();
    }

    std::unique_ptr<PrivatePulseAudio> server;
    Collector sound;
    std::unique_ptr<CaptureSource> source = defaultInputCapture()(); ///< goes first
};

TEST_F(PulseCaptureTest, CapturesWhatIsPlayedInTheSourcesOwnShape) {
    start({"module-null-sink sink_name=call rate=44100 channels=1 format=float32le norewinds=1"});
    ASSERT_EQ(source->start(2048, into(sound)), std::nullopt);
    EXPECT_EQ(source->format(), floatFormat(44100, 1));
    const PlayedTone tone(server->address(), "call"); // an idle sink would take the tone's rate
    EXPECT_NE(source->start(1024, into(sound)), std::nullopt) << "it runs already";
    const auto isLoud = [](const Buffer& buffer) {
        return std::ranges::any_of(std::span(buffer->floatChannelData(0), 2048), [](float s) { return s > 0.4F; });
    };
    ASSERT_TRUE(waitFor([&] { return !sound.buffers().empty() && isLoud(sound.buffers().back()); }));
    const std::size_t first = sound.buffers().size();
    ASSERT_TRUE(sound.waitForCount(first + 20));
    source->stop();
    std::vector<Buffer> buffers = sound.buffers();
    for (const Buffer& buffer : buffers)
        ASSERT_EQ(buffer->frameLength(), 2048U);
    buffers.erase(buffers.begin(), buffers.begin() + static_cast<std::ptrdiff_t>(first));
    EXPECT_LT(worstImpurity(asSpeech(buffers), 440, 100), -50) << "neither gaps nor other sound";
}

TEST_F(PulseCaptureTest, StopsAtOnceAndStartsAgain) {
    start();
    for (int round = 0; round < 3; ++round) {
        std::atomic<bool> stopped = false;
        const auto sink = [&](Buffer buffer) {
            EXPECT_FALSE(stopped);
            sound.take(std::move(buffer));
        };
        ASSERT_EQ(source->start(512, sink), std::nullopt);
        ASSERT_TRUE(sound.waitForCount(sound.buffers().size() + 2));
        std::thread([&] {
            source->stop();
            stopped = true;
        }).join();
    }
}

TEST_F(PulseCaptureTest, SaysWhyThereIsNoInput) {
    const auto expectNone = [this](const char* why) {
        const std::unique_ptr<CaptureSource> none = defaultInputCapture()();
        EXPECT_EQ(none->format(), std::nullopt);
        EXPECT_THAT(none->start(2048, into(sound)).value_or(QString()).toStdString(), StartsWith(why));
        none->stop();
    };
    start({});
    expectNone("The audio server has nothing to record from: ");
    server->kill();
    expectNone("There is no connection to the audio server: ");
}

TEST_F(PulseCaptureTest, AStartOnAServerThatHangsFailsInSeconds) {
    start();
    ASSERT_TRUE(source->format());
    const auto daemon = static_cast<pid_t>(server->processId());
    ::kill(daemon, SIGSTOP);
    auto started = std::async(std::launch::async, [this] { return source->start(960, [](const Buffer&) {}); });
    EXPECT_EQ(started.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    ::kill(daemon, SIGCONT);
    EXPECT_TRUE(started.get());
}

} // namespace
} // namespace parlowen::testing
