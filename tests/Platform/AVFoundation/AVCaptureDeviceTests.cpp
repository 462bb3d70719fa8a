#include <AVFoundation/AVCaptureDevice.h>
#include <gmock/gmock.h>
#include <support/PrivatePulseAudio.h>

#include <QFile>
#include <QTcpServer>
#include <future>

namespace parlowen {
namespace {

using ::parlowen::testing::PrivatePulseAudio;

TEST(AVCaptureDeviceTest, WithoutAServerNothingIsDetermined) {
    qputenv("PULSE_SERVER", "unix:/nowhere/native");
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForAudio(), AVAuthorizationStatus::NotDetermined);
    std::promise<bool> granted;
    AVCaptureDevice::requestAccessForAudio([&granted](bool value) { granted.set_value(value); });
    EXPECT_FALSE(granted.get_future().get());
    qunsetenv("PULSE_SERVER");
}

TEST(AVCaptureDeviceTest, AMonitorIsNoMicrophone) {
    const PrivatePulseAudio server;
    ASSERT_TRUE(server.isReady());
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForAudio(), AVAuthorizationStatus::Restricted);
}

TEST(AVCaptureDeviceTest, AServerWithASourceLetsTheProgramRecord) {
    const PrivatePulseAudio server(PrivatePulseAudio::oneSink() << QStringLiteral("module-null-source"));
    ASSERT_TRUE(server.isReady());
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForAudio(), AVAuthorizationStatus::Authorized);
    std::promise<bool> granted;
    AVCaptureDevice::requestAccessForAudio([&granted](bool value) { granted.set_value(value); });
    EXPECT_TRUE(granted.get_future().get());
}

TEST(AVCaptureDeviceTest, AServerThatRefusesTheProgramDeniesIt) {
    QTcpServer free;
    ASSERT_TRUE(free.listen(QHostAddress::LocalHost));
    const QString port = QString::number(free.serverPort());
    free.close();
    const PrivatePulseAudio server(PrivatePulseAudio::oneSink()
                                   << QStringLiteral("module-native-protocol-tcp listen=127.0.0.1 port=") + port);
    ASSERT_TRUE(server.isReady());
    qputenv("PULSE_SERVER", "tcp:127.0.0.1:" + port.toUtf8());
    qputenv("PULSE_COOKIE", "/nowhere/another-cookie");
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForAudio(), AVAuthorizationStatus::Denied);
    qunsetenv("PULSE_COOKIE");
}

} // namespace
} // namespace parlowen
