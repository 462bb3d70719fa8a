#include "Sounds.h"
#include "support/Testing.h"
#include <AVFoundation/AVCaptureDevice.h>
#include <AVFoundation/CaptureSource.h>
#include <AVFoundation/ChirpProbe.h>
#include <PulseAudio/PulseClient.h>
#include <QTcpServer>
#include <csignal>
#include <future>
#include <support/CallSound.h>
#include <support/CapturedLog.h>
#include <support/PrivateAudioServer.h>

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

struct CaptureOnServerTest : EitherAudioServer {
    void start(const QStringList& modules = devices) {
        ASSERT_NO_FATAL_FAILURE(startServer(modules));
        client = PulseClient::shared();
        chooseDefaults();
    }
    void chooseDefaults() {
        ASSERT_TRUE(waitFor([this] { return server().sink("call") != nullptr; }));
        makeDefault("sink", "call");
        if (server().source("mic"))
            makeDefault("source", "mic");
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
        ASSERT_TRUE(source->start(1024, [this](const Buffer& buffer) { take(*buffer); }));
        ASSERT_TRUE(waitFor([&] { return status().state == first; }));
    }
    InputStatus status() {
        const std::lock_guard lock(mutex);
        return now;
    }
    bool waitUntilHearing(const char* name) {
        return waitFor([&] { return status().state == State::Listening && status().name == name; });
    }
    /// Whether sound, or silence, comes within the bound; what came before does not count.
    bool hears(bool sound, int milliseconds = 15'000) {
        std::atomic<bool>& heard = sound ? loud : quiet;
        heard = false;
        return waitFor([&heard] { return heard.load(); }, milliseconds);
    }
    PulseSnapshot server() const { return client->state()->snapshot; }
    void makeDefault(const QString& kind, const std::string& name) {
        control({"set-default-" + kind, QString::fromStdString(name)});
        const auto current = kind == "sink" ? &PulseSnapshot::defaultSink : &PulseSnapshot::defaultSource;
        ASSERT_TRUE(waitFor([&] { return server().*current == name; }));
    }
    PlayedTone tone(const QString& sink, double amplitude = 0.5, const QStringList& options = {}) const {
        return {daemon->address(), sink, amplitude, options};
    }

    std::mutex mutex;
    InputStatus now; // mutex
    std::atomic<bool> loud = false, quiet = false;
    CapturedLog log;
    std::shared_ptr<PulseClient> client;
    std::unique_ptr<CaptureSource> source; ///< stops before what it needs goes
    std::optional<AVAudioFormat> format;

private:
    void take(const AVAudioPCMBuffer& buffer) {
        const float* samples = buffer.floatChannelData(0);
        const bool sounds =
            std::any_of(samples, samples + buffer.frameLength(), [](float sample) { return std::abs(sample) > 0.1F; });
        (sounds ? loud : quiet) = true;
    }
};

ON_EITHER_AUDIO_SERVER(CaptureOnServerTest);

TEST_P(CaptureOnServerTest, HearsTheOutputThatIsTheDefaultUntilOneIsChosenAndThroughARestart) {
    ASSERT_NO_FATAL_FAILURE(start());
    capture({What::Output});
    EXPECT_EQ(format, floatFormat(48000, 2));
    EXPECT_EQ(status().name, "Call");
    {
        const PlayedTone sound = tone("other");
        makeDefault("sink", "other");
        EXPECT_TRUE(hears(true));
        EXPECT_EQ(status().name, "Other");
        EXPECT_EQ(source->format(), format) << "the shape stays";
    }
    const QString spare =
        control({"load-module", "module-null-sink", "sink_name=spare", "sink_properties=device.description=Spare"});
    ASSERT_TRUE(waitFor([this] { return server().sink("spare") != nullptr; }));
    makeDefault("sink", "spare");
    EXPECT_TRUE(waitUntilHearing("Spare"));
    control({"unload-module", spare});
    EXPECT_TRUE(waitFor([this] { return status().name != "Spare" && status().state == State::Listening; }));
    makeDefault("sink", "call");
    EXPECT_TRUE(waitUntilHearing("Call"));
    control({"set-sink-mute", "call", "1"});
    EXPECT_TRUE(waitFor([this] { return status().muted; }));
    client->route()->choose({What::Output, "room"});
    EXPECT_TRUE(waitUntilHearing("Room"));
    EXPECT_FALSE(status().muted);
    client->route()->choose({What::Microphone});
    EXPECT_EQ(status().name, "Room") << "a call's recording is no microphone's";
    expectDefaults("mic", "call");

    client->route()->choose({What::Output});
    daemon->kill();
    EXPECT_TRUE(waitFor([this] { return status().state == State::ServerLost; }));
    EXPECT_EQ(log.linesWith("❌ 录音中断，音频服务已断开").size(), 1);
    source.reset();
    capture({What::Output}, State::ServerLost); // needs no server to start
    ASSERT_TRUE(daemon->restart());
    chooseDefaults();
    const PlayedTone sound = tone("call");
    EXPECT_TRUE(hears(true)) << log.lines().join(u'\n').toStdString();
}

TEST_P(CaptureOnServerTest, FindsACallOnAnotherOutputAndGoesBackWithoutALoss) {
    ASSERT_NO_FATAL_FAILURE(start());
    capture({What::Output, "room", "call"});
    makeDefault("sink", "other"); // the user chooses anew, and "room" no longer counts
    EXPECT_TRUE(waitUntilHearing("Other"));
    const PlayedTone elsewhere = tone("call");
    EXPECT_TRUE(waitFor([this] { return status().elsewhereUID == "call"; })) << "offered first";
    EXPECT_TRUE(hears(true));
    EXPECT_FALSE(waitFor([this] { return status().name != "Call"; }, 700)) << "what it heard before the turn is over";
    const PlayedTone sound = tone("other");
    EXPECT_TRUE(waitUntilHearing("Other")) << "the default one comes first again";
}

TEST_P(CaptureOnServerTest, HearsTheMicrophoneAloneAndOneProgramAlone) {
    ASSERT_NO_FATAL_FAILURE(start());
    const PlayedTone music = tone("call", 0.5, {"--client-name=Loud Music"});
    capture({What::Microphone});
    EXPECT_EQ(status().name, "Mic");
    EXPECT_EQ(status().kind, InputKind::Microphone);
    EXPECT_FALSE(hears(true, 700)) << "the call is no microphone";
    {
        const PlayedTone speech = tone("room");
        EXPECT_TRUE(hears(true));
    }
    capture({What::Application, "meeting"}, State::NoInput); // it does not play yet
    const PlayedTone meeting = tone("call", 0.03, {"--client-name=Faint Meeting"});
    EXPECT_TRUE(waitUntilHearing("Faint Meeting"));
    EXPECT_TRUE(waitFor([this] { return status().heardSound; }));
    EXPECT_FALSE(hears(true, 700));
    client->route()->choose({What::Application, "music"});
    EXPECT_TRUE(hears(true));
}

/// What needs one kind of server alone.
using CaptureOnPulseAudioTest = CaptureOnServerTest;
INSTANTIATE_TEST_SUITE_P(On, CaptureOnPulseAudioTest, ::testing::Values("PulseAudio"));

TEST_P(CaptureOnPulseAudioTest, GoesOnWhenAServerThatHangsAnswersAgainAndMeasuresTheChirp) {
    ASSERT_NO_FATAL_FAILURE(start(devices.mid(0, 1)));
    const ChirpResult result = playAndListenForChirp();
    ASSERT_TRUE(result.arrived) << result.problem.toStdString();
    EXPECT_LT(std::abs(result.gainDb), 1.0);
    daemon->signal(SIGSTOP);
    capture({What::Output}, State::Refused); // it does not even open
    daemon->signal(SIGCONT);
    EXPECT_TRUE(waitUntilHearing("Call"));
    daemon->signal(SIGSTOP);
    EXPECT_TRUE(waitFor([this] { return status().state == State::ServerLost; }));
    daemon->signal(SIGCONT);
    const PlayedTone sound = tone("call");
    EXPECT_TRUE(hears(true));
    EXPECT_EQ(status().state, State::Listening);
}

bool isGranted() {
    std::promise<bool> granted;
    std::shared_ptr<PulseClient> client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(30)); // asking waits for a second
    AVCaptureDevice::requestAccessForAudio([&granted](bool value) { granted.set_value(value); });
    const bool answer = granted.get_future().get();
    const std::weak_ptr<PulseClient> held = client;
    client.reset();
    EXPECT_TRUE(waitFor([&held] { return held.expired(); })) << "the next server needs a client of its own";
    return answer;
}

AVAuthorizationStatus permission() {
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(30));
    return AVCaptureDevice::authorizationStatusForAudio();
}

TEST(AVCaptureDeviceTest, WhatTheServerHasAndAllowsIsThePermission) {
    {
        const PrivatePulseAudio withMonitorsOnly;
        EXPECT_EQ(permission(), AVAuthorizationStatus::Restricted);
    }
    QTcpServer free;
    ASSERT_TRUE(free.listen(QHostAddress::LocalHost));
    const QString port = QString::number(free.serverPort());
    free.close();
    const PrivatePulseAudio server({"module-null-source", "module-native-protocol-tcp listen=127.0.0.1 port=" + port});
    EXPECT_EQ(permission(), AVAuthorizationStatus::Authorized);
    EXPECT_TRUE(isGranted());
    qputenv("PULSE_SERVER", "tcp:127.0.0.1:" + port.toUtf8());
    qputenv("PULSE_COOKIE", "/nowhere/another-cookie");
    EXPECT_EQ(permission(), AVAuthorizationStatus::Denied);
    qunsetenv("PULSE_COOKIE");
    qputenv("PULSE_SERVER", "unix:/nowhere/native");
    EXPECT_EQ(permission(), AVAuthorizationStatus::NotDetermined);
    EXPECT_FALSE(isGranted());
}

} // namespace
} // namespace parlowen::testing
