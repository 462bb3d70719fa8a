#include <AVFoundation/AVCaptureDevice.h>
#include <PulseAudio/PulseClient.h>
#include <gmock/gmock.h>
#include <support/PrivatePulseAudio.h>

#include <QTcpServer>
#include <future>

namespace parlowen {
namespace {

using ::parlowen::testing::PrivatePulseAudio;

bool isGranted() {
    std::promise<bool> granted;
    AVCaptureDevice::requestAccessForAudio([&granted](bool value) { granted.set_value(value); });
    return granted.get_future().get();
}

/// Once the server that PULSE_SERVER names is known.
AVAuthorizationStatus status() {
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(5));
    return AVCaptureDevice::authorizationStatusForAudio();
}

TEST(AVCaptureDeviceTest, AServerWithAMicrophoneLetsTheProgramRecord) {
    {
        const PrivatePulseAudio server(PrivatePulseAudio::oneSink() << "module-null-source");
        ASSERT_TRUE(server.isReady());
        EXPECT_EQ(status(), AVAuthorizationStatus::Authorized);
        EXPECT_TRUE(isGranted());
    }
    {
        const PrivatePulseAudio withMonitorsOnly;
        ASSERT_TRUE(withMonitorsOnly.isReady());
        EXPECT_EQ(status(), AVAuthorizationStatus::Restricted);
    }
    qputenv("PULSE_SERVER", "unix:/nowhere/native");
    EXPECT_EQ(status(), AVAuthorizationStatus::NotDetermined);
    EXPECT_FALSE(isGranted());
    qunsetenv("PULSE_SERVER");
}

TEST(AVCaptureDeviceTest, AServerThatRefusesTheProgramDeniesIt) {
    QTcpServer free;
    ASSERT_TRUE(free.listen(QHostAddress::LocalHost));
    const QString port = QString::number(free.serverPort());
    free.close();
    const PrivatePulseAudio server(PrivatePulseAudio::oneSink()
                                   << "module-native-protocol-tcp listen=127.0.0.1 port=" + port);
    ASSERT_TRUE(server.isReady());
    qputenv("PULSE_SERVER", "tcp:127.0.0.1:" + port.toUtf8());
    qputenv("PULSE_COOKIE", "/nowhere/another-cookie");
    EXPECT_EQ(status(), AVAuthorizationStatus::Denied);
    qunsetenv("PULSE_COOKIE");
}

} // namespace
} // namespace parlowen
