#include "support/Testing.h"
#include <PulseAudio/PulseClient.h>
#include <PulseAudio/PulseEventLoop.h>
#include <PulseAudio/SessionRoute.h>
#include <QLocalServer>
#include <future>
#include <support/PrivateAudioServer.h>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using Phase = PulseClient::Phase;

const QStringList twoOutputs{"module-null-sink sink_name=speakers", "module-null-sink sink_name=headset"};

struct PulseClientTest : EitherAudioServer {
    static std::string defaultOf(PulseClient& client) { return client.state()->snapshot.defaultSink; }
};

ON_EITHER_AUDIO_SERVER(PulseClientTest);

TEST_P(PulseClientTest, FollowsTheServerTellsItsObserversAndComesBackWithIt) {
    ASSERT_NO_FATAL_FAILURE(startServer(twoOutputs));
    PulseClient client(daemon->address().toStdString());
    ASSERT_EQ(client.waitUntilKnown(30s)->phase, Phase::Up);
    std::atomic<int> told = 0;
    auto watch = client.watch([&told](const PulseClient::StatePtr&) { ++told; });
    for (const char* output : {"speakers", "headset"}) {
        control({"set-default-sink", output});
        EXPECT_TRUE(waitFor([&] { return defaultOf(client) == output; }));
    }
    EXPECT_TRUE(waitFor([&told] { return told > 0; }));
    daemon->kill();
    EXPECT_TRUE(waitFor([&] { return client.state()->phase == Phase::Away; }));
    EXPECT_FALSE(client.state()->problem.empty());
    EXPECT_TRUE(client.state()->snapshot.sinks.empty());
    const auto connection = client.state()->connection;
    ASSERT_TRUE(daemon->restart());
    EXPECT_TRUE(waitFor([&] { return client.state()->phase == Phase::Up; }));
    EXPECT_GT(client.state()->connection, connection);
    watch.reset();
    const int before = told;
    control({"set-default-sink", "speakers"});
    EXPECT_TRUE(waitFor([&] { return defaultOf(client) == "speakers"; }));
    EXPECT_EQ(told, before);
}

/// Whoever holds a connection to the first of two servers at one address knows nothing of the second, as if it had
/// missed what makes them differ.
TEST(PulseClientOnPulseAudio, FindsTheDefaultThatItsConnectionMissedAndLeavesTheServerAloneThen) {
    const PrivatePulseAudio changed(twoOutputs);
    control({"set-default-sink", "speakers"});
    const PrivatePulseAudio server(twoOutputs);
    control({"set-default-sink", "headset"});
    const QTemporaryDir directory;
    const QString link = directory.filePath(QStringLiteral("native"));
    const auto leadTo = [&link](const PrivateAudioServer& to) {
        QFile::remove(link);
        return QFile::link(to.address().section(u':', 1), link);
    };
    ASSERT_TRUE(leadTo(changed));
    PulseClient client("unix:" + link.toStdString());
    const auto hears = [&client](const char* output) {
        return waitFor([&] { return client.state()->snapshot.defaultSink == output; }, 30'000);
    };
    ASSERT_TRUE(hears("speakers"));
    const auto connection = client.state()->connection;
    std::atomic<bool> wasAway = false;
    const auto watch = client.watch(
        [&wasAway](const PulseClient::StatePtr& state) { wasAway = wasAway || state->phase != Phase::Up; });
    ASSERT_TRUE(leadTo(server));
    EXPECT_TRUE(hears("headset"));
    EXPECT_GT(client.state()->connection, connection) << "whoever records must open its streams anew";
    EXPECT_FALSE(wasAway);
    const std::size_t requests = client.traffic().requests;
    EXPECT_TRUE(holdsFor([&] { return client.traffic().requests == requests; }, 500));
}

TEST(PulseClientWithoutServer, SaysSoAndNoCallOfItWaits) {
    for (const char* address : {"unix:/nowhere/native", "nonsense:{"})
        EXPECT_EQ(PulseClient(address).waitUntilKnown(30s)->phase, Phase::Away);
    const QTemporaryDir directory;
    QLocalServer silent;
    ASSERT_TRUE(silent.listen(directory.filePath(QStringLiteral("native"))));
    PulseClient hanging("unix:" + silent.fullServerName().toStdString());
    EXPECT_EQ(hanging.state()->phase, Phase::Connecting);
    EXPECT_TRUE(waitFor([&] { return hanging.state()->phase == Phase::Away; }, 30'000));
}

using Choice = SessionRoute::Choice;
using What = SessionRoute::What;

PulseEndpoint endpoint(std::uint32_t index, const std::string& name, const std::string& description,
                       const std::string& partner = {}) {
    return {.index = index,
            .name = name,
            .description = description,
            .partner = partner,
            .bus = {},
            .spec = {PA_SAMPLE_S16LE, 44100, 2}};
}

/// A desk: speakers and a headset, both with monitors, a line input, a laptop's microphone and a camera's.
PulseSnapshot desk() {
    PulseSnapshot server;
    server.sinks = {endpoint(1, "speakers", "Speakers", "speakers.monitor"),
                    endpoint(2, "headset", "Headset Microphone Combo", "headset.monitor")};
    server.sources = {endpoint(1, "speakers.monitor", "Monitor of Speakers", "speakers"),
                      endpoint(2, "headset.monitor", "Monitor of Headset Microphone Combo", "headset"),
                      endpoint(3, "line", "Line In"), endpoint(4, "laptop", "Laptop MICROPHONE"),
                      endpoint(5, "camera", "摄像头麦克风")};
    server.defaultSink = "speakers";
    server.defaultSource = "line";
    return server;
}

std::string heard(const PulseSnapshot& server, const std::optional<Choice>& choice, const std::string& instead = {}) {
    const auto target = inputTarget(server, choice, instead);
    return target ? target->source : "nothing";
}

TEST(InputTargetTest, AMicrophoneIsTheUsersOwnElseAFitOneAndNeverAMonitor) {
    PulseSnapshot server = desk();
    EXPECT_EQ(heard(server, std::nullopt), "line") << "the user's choice, whatever it is called";
    server.defaultSource = "headset.monitor";
    EXPECT_EQ(heard(server, Choice()), "laptop") << "called a microphone";
    server.sources[3].plugged = false;
    EXPECT_EQ(heard(server, Choice()), "camera");
    server.sources[4].plugged = false;
    EXPECT_EQ(heard(server, Choice()), "line") << "plugged in";
    EXPECT_EQ(heard(server, Choice{What::Microphone, "camera", "headset"}), "camera");
    server.defaultSource = "line";
    EXPECT_EQ(heard(server, Choice{What::Microphone, "camera", "headset"}), "line") << "chosen anew since";
    EXPECT_EQ(heard(server, Choice{What::Microphone, "camera", "line"}), "camera");
    EXPECT_EQ(heard(server, Choice{What::Microphone, "unplugged", "line"}), "line");
    server.sources.resize(2);
    EXPECT_EQ(heard(server, Choice()), "nothing");
}

TEST(InputTargetTest, WhatIsPlayedComesFromTheMonitorOfTheRightOutput) {
    PulseSnapshot server = desk();
    EXPECT_EQ(heard(server, Choice{What::Output}), "speakers.monitor");
    EXPECT_EQ(heard(server, Choice{What::Output}, "headset"), "headset.monitor");
    EXPECT_EQ(heard(server, Choice{What::Output, "headset"}, "speakers"), "headset.monitor");
    EXPECT_EQ(heard(server, Choice{What::Output, "gone"}, "gone"), "speakers.monitor");
    EXPECT_EQ(inputTarget(server, Choice{What::Output})->name, "Speakers");
    for (const auto& [mute, volume] : {std::pair(false, 1.F), {true, 1.F}, {false, 0.F}}) {
        server.sinks[0].mute = mute;
        server.sinks[0].volume = volume;
        EXPECT_EQ(inputTarget(server, Choice{What::Output})->muted, mute || volume == 0);
    }
    const Choice chosen{What::Output, "headset", "speakers"};
    EXPECT_EQ(heard(server, chosen), "headset.monitor");
    EXPECT_EQ(chosenOutput(server, chosen), "headset");
    EXPECT_EQ(chosenOutput(server, {What::Output, "gone", "speakers"}), "") << "as if nothing were chosen";
    EXPECT_EQ(chosenOutput(server, {What::Application, "headset"}), "");
    server.sinks.push_back(endpoint(3, "dock", "Dock", "headset.monitor"));
    server.defaultSink = "dock";
    EXPECT_EQ(inputTarget(server, chosen)->sink, "dock") << "the user has chosen anew";
    EXPECT_EQ(chosenOutput(server, chosen), "");
    server.defaultSink.clear();
    EXPECT_EQ(heard(server, Choice{What::Output}), "nothing");
}

TEST(InputTargetTest, WhatHasTheSameNameIsToldApart) {
    PulseSnapshot server = desk();
    server.sources.push_back(endpoint(6, "headset", "Headset's own"));
    EXPECT_EQ(server.inputUID("headset"), "headset:input");
    EXPECT_EQ(heard(server, Choice{What::Microphone, "headset:input", "line"}), "headset");
    EXPECT_EQ(heard(server, Choice{What::Output, "headset"}), "headset.monitor");
    server.sinks.push_back(endpoint(3, "second", "Speakers", "second.monitor"));
    tellApart(server.sinks);
    EXPECT_EQ(server.sinks[0].description + ", " + server.sinks[1].description + ", " + server.sinks[2].description,
              "Speakers (1), Headset Microphone Combo, Speakers (2)");
}

TEST(InputTargetTest, OneProgramIsFoundByItsName) {
    PulseSnapshot server = desk();
    server.playbacks = {{7, 1, "Music", "mplayer", true},
                        {8, 2, "Firefox", "firefox-esr", false},
                        {9, 2, "Firefox", "firefox-esr", true},
                        {10, 1, "Firefox", "firefox-esr", false}};
    const auto firefox = inputTarget(server, Choice{What::Application, "fireFOX"});
    ASSERT_TRUE(firefox);
    EXPECT_EQ(firefox->playback, 9U) << "the one that sounds";
    EXPECT_EQ(firefox->source, "headset.monitor");
    EXPECT_EQ(firefox->name, "Firefox");
    EXPECT_EQ(heard(server, Choice{What::Application, "zoom"}), "nothing");
    server.playbacks.push_back({11, 1, "Firefox", "firefox-esr", true});
    EXPECT_EQ(inputTarget(server, Choice{What::Application, "firefox"})->playback, 11U) << "the newest";
    EXPECT_EQ(inputTarget(server, Choice{What::Application, "firefox"}, {}, 9)->playback, 9U)
        << "a short sound does not take the call's place";
    server.playbacks[2].sounding = server.playbacks[4].sounding = false;
    EXPECT_TRUE(inputTarget(server, Choice{What::Application, "firefox"}, {}, 9)->paused);
}

/// What is decided of `away`, as "watch offers turns".
std::string away(const PulseSnapshot& server, int quietSeconds, const OutputTurn::Scouted& scouted,
                 bool isChosen = false) {
    const OutputTurn turn = OutputTurn::away(server, "speakers", isChosen, std::chrono::seconds(quietSeconds), scouted);
    return turn.watch + (turn.offers ? " offers" : "") + (turn.turns ? " turns" : "");
}

TEST(OutputTurnTest, ACallElsewhereIsOfferedThenTurnedToAndTheDefaultOutputComesFirst) {
    PulseSnapshot server = desk();
    EXPECT_EQ(away(server, 9, {}), "") << "nobody plays";
    server.playbacks = {{8, 2, "Firefox", "firefox-esr", true}, {9, 1, "Music", "mplayer", true}};
    EXPECT_EQ(away(server, 1, {}), "");
    EXPECT_EQ(away(server, 2, {}), "headset");
    EXPECT_EQ(away(server, 4, {"headset", 2}), "headset offers");
    EXPECT_EQ(away(server, 5, {"headset", 0.9}), "headset offers");
    EXPECT_EQ(away(server, 5, {"headset", 1}), "headset offers turns");
    EXPECT_EQ(away(server, 9, {"headset", 9}, true), "headset offers") << "the user chose what is heard";
    server.sinks.push_back(endpoint(3, "dock", "Dock", "dock.monitor"));
    server.sources.push_back(endpoint(7, "dock.monitor", "Monitor of Dock", "dock"));
    server.playbacks.push_back({10, 3, "Radio", "radio", true});
    EXPECT_EQ(away(server, 9, {"headset", 0, 3}), "headset");
    EXPECT_EQ(away(server, 9, {"headset", 0, 3.1}), "dock") << "each in turn";
    EXPECT_EQ(away(server, 9, {"dock", 9, 3.1}), "headset");

    const auto back = [&server](const OutputTurn::Scouted& scouted) {
        return OutputTurn::back(server, "headset", scouted);
    };
    EXPECT_EQ(back({"dock", 9}).watch, "speakers");
    EXPECT_FALSE(back({"dock", 9}).turns || back({"speakers", 0.1}).turns || back({"speakers", 9}).isOver);
    EXPECT_TRUE(back({"speakers", 0.2}).turns);
    server.playbacks[0].sounding = false;
    EXPECT_TRUE(back({"speakers", 0}).isOver) << "it has paused";
    server.playbacks[0].sounding = true;
    server.defaultSink = "gone";
    EXPECT_TRUE(back({"speakers", 0}).isOver);
}

TEST(PulseEventLoopTest, ARestEndsWithATimer) {
    PulseEventLoop loop;
    std::promise<void> rang;
    PulseTimer timer(loop.api(), [&rang] { rang.set_value(); });
    loop.restUntil(PulseEventLoop::Clock::now() + 40s);
    timer.start(100ms);
    loop.start();
    EXPECT_EQ(rang.get_future().wait_for(20s), std::future_status::ready);
    loop.stop();
}

} // namespace
} // namespace parlowen::testing
