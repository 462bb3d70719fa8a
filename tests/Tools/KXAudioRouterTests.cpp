#include "RouterFixture.h"

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const QString loopback = QString::fromUtf8(loopbackDevice::uid);
const QString multiOutputUID = QStringLiteral("tqv-Multi-Output_UID");

class KXAudioRouterTest : public RouterFixture {
protected:
    /// That the call refuses and changes nothing.
    void expectRefusal(const char* why) {
        const QString input = defaultInput();
        const QString output = defaultOutput();
        takeLog();
        router().setupSystemAudio();
        EXPECT_THAT(takeLog(), ElementsAre("❌ 找不到合法的 BlackHole 或输出设备")) << why;
        EXPECT_EQ(defaultInput(), input) << why;
        EXPECT_EQ(defaultOutput(), output) << why;
        EXPECT_THAT(server->descriptions, IsEmpty()) << why;
        EXPECT_THAT(delayed, IsEmpty()) << why;
    }
};

TEST_F(KXAudioRouterTest, ASystemAudioSessionChangesAndGivesBackInOrder) {
    router().setupSystemAudio();
    const AudioObjectID id = server->deviceID(multiOutputUID.toStdString());
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置 BlackHole 为默认输入", QString("✅ 成功创建聚合设备 ID: %1").arg(id)));
    EXPECT_EQ(defaultInput(), loopback);
    EXPECT_EQ(defaultOutput(), "speakers") << "not before a second has passed";
    EXPECT_THAT(delays, ElementsAre(1.0));
    const QVariantMap expected{
        {"name", "tqv Multi-Output"},
        {"uid", multiOutputUID},
        {"subdevices", QVariantList{QVariantMap{{"uid", loopback}}, QVariantMap{{"uid", "speakers"}}}},
        {"master", loopback},
        {"stacked", 1}};
    EXPECT_THAT(server->descriptions, ElementsAre(expected));

    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置聚合设备为默认输出"));
    EXPECT_EQ(defaultOutput(), multiOutputUID);
    router().setupSystemAudio();
    EXPECT_THAT(takeLog(), ElementsAre("❌ 找不到合法的 BlackHole 或输出设备")) << "it is set up already";
    EXPECT_THAT(delayed, IsEmpty());

    router().restoreDevices();
    EXPECT_THAT(takeLog(),
                ElementsAre("✅ 恢复原始输出设备", "✅ 恢复麦克风输入：Webcam", "🗑️ 聚合设备销毁成功"));
    EXPECT_EQ(defaultInput(), "camera");
    EXPECT_EQ(defaultOutput(), "speakers");
    EXPECT_EQ(server->devices().defaultInput + server->devices().defaultOutput, "cameraspeakers");

    router().setupSystemAudio();
    router().restoreDevices();
    takeLog();
    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("❌ 聚合设备未找到")) << "what is delayed does no harm after the end";
    router().setupSystemAudio();
    dropRouter();
    takeLog();
    runDelayed();
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(KXAudioRouterTest, WithoutFitDevicesNothingIsChanged) {
    router();
    server->setDefaults("camera", "");
    expectRefusal("no default output");
    server->setDefaults("camera", "speakers");
    for (const std::string& uid : {std::string(loopbackDevice::uid), std::string("speakers")}) {
        server->fail(Call::Read, kAudioHardwareUnknownPropertyError, server->deviceID(uid), fourCC("uid "));
        expectRefusal("no UID");
        server->clearFaults();
    }
    dropRouter();
    server->stop();
    expectRefusal("no server when the router was made");
    router().switchInput(false);
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("❌ BlackHole 设备不可用", "⚠️ 原始输出设备未记录"));
}

TEST_F(KXAudioRouterTest, AMultiOutputDeviceThatIsThereIsUsedAndOneThatFailsIsLoggedWithItsStatus) {
    server->fail(Call::CreateAggregate, -50);
    router().setupSystemAudio();
    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置 BlackHole 为默认输入", "❌ 创建聚合设备失败，状态码: -50 (0xFFFFFFCE)",
                                       "❌ 聚合设备未找到"));
    EXPECT_EQ(defaultInput(), loopback);
    EXPECT_EQ(defaultOutput(), "speakers");
    server->clearFaults();
    router().setupSystemAudio();
    takeLog();
    server->fail(Call::DestroyAggregate, kAudioHardwareBadObjectError);
    router().restoreDevices();
    EXPECT_EQ(takeLog().last(), "❌ 聚合设备销毁失败，状态码: 560947818 (0x216F626A)");
    router().setupSystemAudio();
    runDelayed();
    EXPECT_EQ(takeLog().mid(1),
              QStringList({"🔁 聚合设备已存在", "✅ 设置聚合设备为默认输出", "✅ 设置聚合设备为默认输出"}));
    EXPECT_EQ(defaultOutput(), multiOutputUID);
}

TEST_F(KXAudioRouterTest, TheMicrophoneIsTheUsersOwnElseAFitOneAndNeverWhatAnOutputPlays) {
    router().switchInput(true);
    EXPECT_EQ(defaultInput(), "camera") << "the user's own, though it is not called a microphone";
    server->setDevice(sink("odd", "Microphone that plays"));
    server->setDefaults("headset", "speakers");
    router().switchInput(true);
    EXPECT_EQ(defaultInput(), "built-in");
    AudioDeviceRecord unplugged = source("built-in", "Built-in MICROPHONE");
    unplugged.plugged = false;
    server->setDevice(unplugged);
    router().switchInput(true);
    EXPECT_EQ(defaultInput(), "line");
    router().switchInput(false);
    EXPECT_EQ(defaultInput(), loopback);
    for (const char* uid : {"built-in", "camera", "line"})
        server->removeDevice(uid);
    router().switchInput(true);
    EXPECT_EQ(defaultInput() + " " + defaultOutput(), loopback + " speakers");
    EXPECT_THAT(takeLog(),
                ElementsAre("✅ 切换到麦克风输入：Webcam", "✅ 切换到麦克风输入：Built-in MICROPHONE",
                            "✅ 切换到麦克风输入：Line In", "✅ 切换到系统音频输入（BlackHole）", "❌ 未找到麦克风设备"));
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 恢复原始输出设备", "⚠️ 没有找到需要销毁的聚合设备"));
}

} // namespace
} // namespace parlowen
