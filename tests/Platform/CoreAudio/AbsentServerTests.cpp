#include "ObjectReading.h"

#include <CoreAudio/PulseAudioServer.h>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <support/PrivatePulseAudio.h>
#include <support/WaitFor.h>

using namespace parlowen;
using namespace parlowen::testing;

namespace {

/// Nothing works without a server, and none of it hangs.
void expectNothing(PulseAudioServer& server, int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    std::vector<std::byte> devices;
    EXPECT_EQ(server.getPropertyData(kAudioObjectSystemObject, {fourCC("dev#")}, {}, devices),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(setDefault(server, fourCC("dOut"), 2), kAudioHardwareNotRunningError);
    AudioObjectID device = 0;
    EXPECT_EQ(server.createAggregateDevice(multiOutput("both", "Both", {"loop", "card"}), device),
              kAudioHardwareNotRunningError);
    EXPECT_EQ(server.destroyAggregateDevice(2), kAudioHardwareNotRunningError);
    EXPECT_LT(timer.elapsed(), milliseconds);
}

TEST(AbsentServer, HasNoDevicesUntilItAppearsAndAWriteWaitsForOneThatRestarts) {
    PrivatePulseAudio daemon;
    ASSERT_TRUE(daemon.isReady());
    daemon.kill();
    PulseAudioServer server(daemon.address().toStdString());
    expectNothing(server, 2'000);
    Ear ear(server, kAudioObjectSystemObject, {fourCC("ownd")});
    ASSERT_TRUE(daemon.restart());
    EXPECT_TRUE(waitFor([&] { return ear.count("ownd") > 0; }));
    const auto devices = deviceList(server);
    ASSERT_FALSE(devices.empty());
    ASSERT_TRUE(daemon.restart());
    EXPECT_EQ(setDefault(server, fourCC("dOut"), devices.front()), 0);
}

TEST(AbsentServer, OneThatNeverAnswersIsNotWaitedForTwice) {
    QTemporaryDir directory;
    QLocalServer silent;
    ASSERT_TRUE(silent.listen(directory.filePath(QStringLiteral("native"))));
    PulseAudioServer server("unix:" + silent.fullServerName().toStdString());
    expectNothing(server, 2'000);
    expectNothing(server, 500);
    PulseAudioServer nonsense("nonsense:{");
    expectNothing(nonsense, 2'000);
}

} // namespace
