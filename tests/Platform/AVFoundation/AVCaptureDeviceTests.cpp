#include <AVFoundation/AVCaptureDevice.h>
#include <PulseAudio/PulseClient.h>
#include <gmock/gmock.h>
#include <support/PrivateAudioServer.h>
#include <support/WaitFor.h>

#include <QTcpServer>
#include <future>

namespace parlowen::testing {
namespace {

bool isGranted() {
    std::promise<bool> granted;
    std::shared_ptr<PulseClient> client = PulseClient::shared();
    AVCaptureDevice::requestAccessForAudio([&granted](bool value) { granted.set_value(value); });
    const bool answer = granted.get_future().get();
    const std::weak_ptr<PulseClient> held = client;
    client.reset();
    EXPECT_TRUE(waitFor([&held] { return held.expired(); })) << "the next server needs a client of its own";
    return answer;
}

/// Once the server that PULSE_SERVER names is known.
AVAuthorizationStatus status() {
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(30));
    return AVCaptureDevice::authorizationStatusForAudio();
}

TEST(AVCaptureDeviceTest, WhatTheServerHasAndAllowsIsThePermission) {
    {
        const PrivatePulseAudio withMonitorsOnly;
        EXPECT_EQ(status(), AVAuthorizationStatus::Restricted);
    }
    QTcpServer free;
    ASSERT_TRUE(free.listen(QHostAddress::LocalHost));
    const QString port = QString::number(free.serverPort());
    free.close();
    const PrivatePulseAudio server({"module-null-source", "module-native-protocol-tcp listen=127.0.0.1 port=" + port});
    EXPECT_EQ(status(), AVAuthorizationStatus::Authorized);
    EXPECT_TRUE(isGranted());
    qputenv("PULSE_SERVER", "tcp:127.0.0.1:" + port.toUtf8());
    qputenv("PULSE_COOKIE", "/nowhere/another-cookie");
    EXPECT_EQ(status(), AVAuthorizationStatus::Denied);
    qunsetenv("PULSE_COOKIE");
    qputenv("PULSE_SERVER", "unix:/nowhere/native");
    EXPECT_EQ(status(), AVAuthorizationStatus::NotDetermined);
    EXPECT_FALSE(isGranted());
}

} // namespace
} // namespace parlowen::testing
