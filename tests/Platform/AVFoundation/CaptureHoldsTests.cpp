#include "Sounds.h"

#include <AVFoundation/CaptureSource.h>
#include <AVFoundation/ChirpProbe.h>
#include <PulseAudio/PulseClient.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/EitherAudioServer.h>
#include <support/ServerSound.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <mutex>

namespace parlowen::testing {
namespace {

using State = InputStatus::State;
using What = SessionRoute::What;

/// The call's output, another one of another shape, and a microphone that gives what is played into a room.
const QStringList devices{
    "module-null-sink sink_name=call rate=48000 channels=2 norewinds=1 sink_properties=device.description=Call",
    "module-null-sink sink_name=other rate=44100 channels=1 norewinds=1 sink_properties=device.description=Other",
    "module-null-sink sink_name=room rate=48000 channels=1 norewinds=1 sink_properties=device.description=Room",
    "module-remap-source master=room.monitor source_name=mic source_properties=device.description=Mic"};

/// Listens to what a capture delivers.
class Listener {
public:
    CaptureSource::Sink sink() {
        return [this](const std::shared_ptr<AVAudioPCMBuffer>& buffer) { take(*buffer); };
    }

    /// Whether sound comes within the bound; what came before does not count.
    bool hearsSound(int milliseconds = 15'000) {
        loud_ = false;
        return waitFor([this] { return loud_.load(); }, milliseconds);
    }

    bool hearsSilence() {
        quiet_ = false;
        return waitFor([this] { return quiet_.load(); });
    }

private:
    void take(const AVAudioPCMBuffer& buffer) {
        const float* samples = buffer.floatChannelData(0);
        const bool loud =
            std::any_of(samples, samples + buffer.frameLength(), [](float sample) { return std::abs(sample) > 0.1F; });
        (loud ? loud_ : quiet_) = true;
    }

    std::atomic<bool> loud_ = false, quiet_ = false;
};

class CaptureHoldsTest : public EitherAudioServer {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(startServer(devices));
        client = PulseClient::shared();
        makeDefault("sink", "call");
        makeDefault("source", "mic");
        ASSERT_TRUE(waitFor([this] { return client->state()->snapshot.defaultSink == "call"; }));
    }

    void capture(const SessionRoute::Choice& choice, State first = State::Listening) {
        client->route()->choose(choice);
        InputObserver observer;
        observer.changed = [this](const InputStatus& status) {
            const std::lock_guard lock(mutex);
            now = status;
        };
        source = inputCapture(std::move(observer))();
        format = source->format();
        ASSERT_TRUE(source->start(1024, listener.sink()));
        ASSERT_TRUE(waitUntil(first));
    }

    InputStatus status() {
        const std::lock_guard lock(mutex);
        return now;
    }
    bool waitUntil(State state) {
        return waitFor([&] { return status().state == state; });
    }
    bool waitUntilHearing(const char* name) {
        return waitFor([&] { return status().state == State::Listening && status().name == name; });
    }

    static void makeDefault(const QString& kind, const QString& name) {
        control({"set-default-" + kind, name});
        ASSERT_TRUE(waitFor([&] { return control({"get-default-" + kind}) == name; }));
    }

    static void unplug(const QString& sink) {
        const QStringList modules = control({"list", "short", "modules"}).split(u'\n');
        for (const QString& module : modules) {
            if (module.contains("sink_name=" + sink))
                control({"unload-module", module.section(u'\t', 0, 0)});
        }
    }

    PlayedTone tone(const QString& sink, double amplitude = 0.5, const QStringList& options = {}) const {
        return {daemon->address(), sink, amplitude, options};
    }

    std::mutex mutex;
    InputStatus now; // mutex
    CapturedLog log;
    Listener listener;
    std::shared_ptr<PulseClient> client;
    std::unique_ptr<CaptureSource> source; ///< stops before what it needs goes
    std::optional<AVAudioFormat> format;
};

ON_EITHER_AUDIO_SERVER(CaptureHoldsTest);

TEST_P(CaptureHoldsTest, HearsTheOutputThatIsTheDefaultUntilOneIsChosen) {
    capture({What::Output});
    EXPECT_EQ(format, floatFormat(48000, 2));
    EXPECT_EQ(status().name, "Call");
    {
        const PlayedTone sound = tone("other");
        makeDefault("sink", "other");
        EXPECT_TRUE(listener.hearsSound());
        EXPECT_EQ(status().name, "Other");
        EXPECT_EQ(source->format(), format) << "the shape stays";
    }
    EXPECT_TRUE(listener.hearsSilence());
    const PlayedTone sound = tone("call");
    unplug("other");
    EXPECT_TRUE(listener.hearsSound());
    EXPECT_TRUE(waitUntilHearing("Call"));
    control({"set-sink-mute", "call", "1"});
    EXPECT_TRUE(waitFor([this] { return status().muted; }));
    client->route()->choose({What::Output, "room"});
    EXPECT_TRUE(waitUntilHearing("Room"));
    EXPECT_FALSE(status().muted);
    client->route()->choose({What::Microphone});
    EXPECT_TRUE(holdsFor([this] { return status().name == "Room"; }, 300)) << "a call's recording is no microphone's";
    expectDefaults("mic", "call");
}

TEST_P(CaptureHoldsTest, FindsACallOnAnotherOutputAndGoesBackWithoutALoss) {
    capture({What::Output});
    {
        const PlayedTone elsewhere = tone("other");
        EXPECT_TRUE(waitFor([this] { return status().elsewhereName == "Other"; })) << "offered first";
        EXPECT_TRUE(listener.hearsSound());
        EXPECT_EQ(status().name, "Other");
        const PlayedTone sound = tone("call");
        EXPECT_TRUE(waitUntilHearing("Call")) << "the default one comes first again";
    }
    EXPECT_TRUE(listener.hearsSilence());
    client->route()->choose({What::Output, "call"});
    const PlayedTone elsewhere = tone("other");
    EXPECT_TRUE(waitFor([this] { return status().elsewhereUID == "other"; }));
    EXPECT_TRUE(holdsFor([this] { return status().name == "Call"; }, 6000)) << "what was chosen is only offered";
}

TEST_P(CaptureHoldsTest, HearsTheMicrophoneAloneAndFollowsTheUsersChoice) {
    capture({What::Microphone});
    EXPECT_EQ(status().name, "Mic");
    EXPECT_EQ(status().kind, InputKind::Microphone);
    {
        const PlayedTone call = tone("call");
        EXPECT_TRUE(holdsFor([this] { return status().quietSeconds < 2 && !status().heardSound; }, 1000));
        const PlayedTone speech = tone("room");
        EXPECT_TRUE(listener.hearsSound());
    }
    control({"load-module", "module-remap-source", "master=other.monitor", "source_name=headset",
             "source_properties=device.description=Headset"});
    makeDefault("source", "headset");
    EXPECT_TRUE(waitUntilHearing("Headset"));
    makeDefault("source", "call.monitor");
    EXPECT_TRUE(waitFor([this] { return client->state()->snapshot.defaultSource == "call.monitor"; }));
    EXPECT_TRUE(holdsFor([this] { return status().kind == InputKind::Microphone; }, 500)) << "never a monitor";
}

TEST_P(CaptureHoldsTest, HearsOneProgramAlone) {
    const PlayedTone music = tone("call", 0.5, {"--client-name=Loud Music"});
    capture({What::Application, "meeting"}, State::NoInput); // it does not play yet
    const PlayedTone meeting = tone("call", 0.03, {"--client-name=Faint Meeting"});
    EXPECT_TRUE(waitUntilHearing("Faint Meeting"));
    EXPECT_TRUE(waitFor([this] { return status().heardSound; }));
    EXPECT_FALSE(listener.hearsSound(1000));
    client->route()->choose({What::Application, "music"});
    EXPECT_TRUE(listener.hearsSound());
}

TEST_P(CaptureHoldsTest, GoesOnEachTimeTheServerRestartsAndNeedsNoneToStart) {
    daemon->kill();
    source = inputCapture()();
    ASSERT_TRUE(source->format());
    ASSERT_TRUE(source->start(1024, listener.sink()));
    source->stop();
    ASSERT_TRUE(daemon->restart());
    makeDefault("sink", "call");
    capture({What::Output});
    for (int round = 1; round <= 2; ++round) {
        daemon->kill();
        EXPECT_TRUE(waitUntil(State::ServerLost));
        ASSERT_TRUE(daemon->restart());
        makeDefault("sink", "call");
        const PlayedTone call = tone("call");
        EXPECT_TRUE(listener.hearsSound()) << log.lines().join(u'\n').toStdString();
        EXPECT_GE(log.linesWith("❌ 录音中断，音频服务已断开").size(), round);
    }
}

TEST_P(CaptureHoldsTest, TheChirpComesBackFromTheDefaultOutput) {
    const ChirpResult result = playAndListenForChirp();
    ASSERT_TRUE(result.arrived) << result.problem.toStdString();
    EXPECT_LT(std::abs(result.gainDb), 1.0);
    makeDefault("sink", "other");
    control({"set-sink-mute", "other", "1"});
    EXPECT_FALSE(playAndListenForChirp().arrived);
}

class HangingServerTest : public ::testing::Test {};

TEST_F(HangingServerTest, IsToldOfAndGoesOnWhenItAnswersAgain) {
    PrivatePulseAudio server({"module-null-sink sink_name=call norewinds=1 sink_properties=device.description=Call"});
    ASSERT_TRUE(server.isReady());
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    ASSERT_EQ(client->waitUntilKnown(std::chrono::seconds(5))->phase, PulseClient::Phase::Up);
    client->route()->choose({What::Output});
    std::atomic<State> state = State::Opening;
    InputObserver observer;
    observer.changed = [&state](const InputStatus& status) { state = status.state; };
    Listener listener;
    const std::unique_ptr<CaptureSource> source = inputCapture(observer)();
    ASSERT_TRUE(source->start(1024, listener.sink()));
    ASSERT_TRUE(waitFor([&] { return state == State::Listening; }));
    ::kill(static_cast<pid_t>(server.processId()), SIGSTOP);
    EXPECT_TRUE(waitFor([&] { return state == State::ServerLost; }));
    ::kill(static_cast<pid_t>(server.processId()), SIGCONT);
    const PlayedTone sound(server.address(), "call");
    EXPECT_TRUE(listener.hearsSound());
    EXPECT_EQ(state, State::Listening);
}

} // namespace
} // namespace parlowen::testing
