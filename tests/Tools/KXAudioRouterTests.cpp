#include "RouterFixture.h"

#include <Foundation/BackgroundQueue.h>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class KXAudioRouterTest : public RouterFixture {
protected:
    /// That the call refuses and changes nothing.
    void expectRefusal(const char* why) {
        const std::string input = defaultInput();
        const std::string output = defaultOutput();
        takeLog();
        router().setupSystemAudio();
        EXPECT_THAT(takeLog(), ElementsAre("❌ 找不到合法的 BlackHole 或输出设备")) << why;
        EXPECT_EQ(defaultInput(), input) << why;
        EXPECT_EQ(defaultOutput(), output) << why;
        EXPECT_THAT(server->descriptions, IsEmpty()) << why;
        EXPECT_THAT(delayed, IsEmpty()) << why;
        EXPECT_FALSE(journalExists()) << why;
    }

    /// The server comes back, at first with these devices alone, of which the first ones are the defaults.
    void restart(const std::vector<AudioDeviceRecord>& devices) {
        takeLog();
        server->restart({devices, devices.front().uid, devices.front().uid});
        ASSERT_TRUE(waitFor([this] { return !log.lines().mid(seenLines()).isEmpty(); }));
        EXPECT_THAT(takeLog(), ElementsAre("🔄 音频服务已重新启动，正在恢复会话的音频设备"));
    }
    void look(int times) {
        for (int i = 0; i < times; ++i) {
            runDelayed();
            waitForBackground();
        }
    }
};

TEST_F(KXAudioRouterTest, ASystemAudioSessionChangesAndGivesBackInOrder) {
    router().setupSystemAudio();
    const AudioObjectID id = server->deviceID("tqv-Multi-Output_UID");
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置 BlackHole 为默认输入", QString("✅ 成功创建聚合设备 ID: %1").arg(id)));
    EXPECT_EQ(defaultInput(), "loop");
    EXPECT_EQ(defaultOutput(), "speakers") << "not before a second has passed";
    EXPECT_THAT(delays, ElementsAre(1.0));
    const QVariantMap expected{
        {"name", "tqv Multi-Output"},
        {"uid", "tqv-Multi-Output_UID"},
        {"subdevices", QVariantList{QVariantMap{{"uid", "loop"}}, QVariantMap{{"uid", "speakers"}}}},
        {"master", "loop"},
        {"stacked", 1}};
    EXPECT_THAT(server->descriptions, ElementsAre(expected));

    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置聚合设备为默认输出"));
    EXPECT_EQ(defaultOutput(), "tqv-Multi-Output_UID");
    EXPECT_TRUE(journalExists());

    router().setupSystemAudio();
    EXPECT_THAT(takeLog(), ElementsAre("❌ 找不到合法的 BlackHole 或输出设备")) << "it is set up already";
    EXPECT_THAT(delayed, IsEmpty());
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 恢复原始输出设备", "✅ 恢复麦克风输入：Built-in MICROPHONE",
                                       "🗑️ 聚合设备销毁成功"));
    EXPECT_EQ(defaultInput(), "built-in");
    EXPECT_EQ(defaultOutput(), "speakers");
    EXPECT_FALSE(multiOutput());
    EXPECT_FALSE(journalExists());

    router().setupSystemAudio();
    router().restoreDevices();
    takeLog();
    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("❌ 聚合设备未找到")) << "what is delayed does no harm after the end";
    EXPECT_EQ(defaultOutput(), "speakers");
    router().setupSystemAudio();
    dropRouter();
    takeLog();
    runDelayed();
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(KXAudioRouterTest, WithoutFitDevicesNothingIsChanged) {
    server->renameDevice("loop", "VorlanOutput 2ch");
    expectRefusal("another letter case");
    router().switchInput(false);
    EXPECT_THAT(takeLog(), ElementsAre("❌ BlackHole 设备不可用"));
    server->renameDevice("loop", "vorlanOutput 2ch");
    expectRefusal("it was looked for when the router was made");
    dropRouter();
    router();
    server->setDefaults("camera", "");
    expectRefusal("no default output");
    server->setDefaults("camera", "speakers");
    for (const char* uid : {"loop", "speakers"}) {
        server->hideProperty(server->deviceID(uid), fourCC("uid "));
        expectRefusal("no UID");
        server->clearFaults();
    }
    server->setDevice(combined("both", "Both", {"headset", "speakers"}));
    server->setDefaults("camera", "both");
    expectRefusal("the output is an aggregate");
    server->setDefaults("camera", "speakers");
    server->setDevice(combined("loop", "vorlanOutput 2ch", {"headset"}));
    expectRefusal("the loop-back device is an aggregate");
}

TEST_F(KXAudioRouterTest, AMultiOutputDeviceThatIsThereIsUsedAndOneThatCannotBeMadeLeavesTheOutput) {
    server->failCreatingAggregates(-50);
    router().setupSystemAudio();
    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置 BlackHole 为默认输入", "❌ 创建聚合设备失败，状态码: -50 (0xFFFFFFCE)",
                                       "❌ 聚合设备未找到"));
    EXPECT_EQ(defaultInput(), "loop");
    EXPECT_EQ(defaultOutput(), "speakers");
    server->clearFaults();
    server->setDevice(combined("tqv-Multi-Output_UID", "tqv Multi-Output", {"headset"}));
    router().setupSystemAudio();
    runDelayed();
    EXPECT_EQ(takeLog().mid(1), QStringList({"🔁 聚合设备已存在", "✅ 设置聚合设备为默认输出"}));
    EXPECT_EQ(defaultOutput(), "tqv-Multi-Output_UID");
}

TEST_F(KXAudioRouterTest, DestructionThatFailsIsLoggedAndRememberedForTheNextStart) {
    router().setupSystemAudio();
    runDelayed();
    takeLog();
    server->failDestroyingAggregates(kAudioHardwareBadObjectError);
    router().restoreDevices();
    EXPECT_EQ(takeLog().last(), "❌ 聚合设备销毁失败，状态码: 560947818 (0x216F626A)");
    EXPECT_EQ(defaultOutput(), "speakers");
    EXPECT_TRUE(journalExists());
    server->clearFaults();
    router().restoreDevices();
    EXPECT_FALSE(multiOutput());
    EXPECT_FALSE(journalExists());
}

TEST_F(KXAudioRouterTest, SwitchesToTheFirstMicrophoneByItsNameAlone) {
    server->setDevice(combined("mixed", "Microphone mix", {"headset"}));
    server->setDevice(sink("odd", "Microphone without an input"));
    server->hideProperty(server->deviceID("built-in"), fourCC("uid "));
    router().switchInput(true);
    EXPECT_FALSE(journalExists()) << "there is no UID to give it back by";
    server->clearFaults();
    takeLog();
    router().switchInput(true);
    EXPECT_EQ(defaultInput(), "built-in") << "the first in the list that is no aggregate";
    router().switchInput(false);
    EXPECT_EQ(defaultInput(), "loop");
    for (const char* uid : {"built-in", "camera", "odd"})
        server->removeDevice(uid);
    router().switchInput(true);
    EXPECT_EQ(defaultInput() + " " + defaultOutput(), "loop speakers");
    EXPECT_THAT(takeLog(), ElementsAre("✅ 切换到麦克风输入：Built-in MICROPHONE", "✅ 切换到系统音频输入（BlackHole）",
                                       "❌ 未找到麦克风设备"));
}

TEST_F(KXAudioRouterTest, RestoreGivesBackTheUsersOwnAndBearsWhatIsMissing) {
    server->setDefaults("camera", "");
    router().switchInput(true);
    takeLog();
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("⚠️ 原始输出设备未记录"));
    dropRouter();
    server->setDefaults("camera", "speakers");
    router().switchInput(true);
    server->setDefaults("built-in", "headset");
    takeLog();
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 恢复原始输出设备", "✅ 恢复麦克风输入：Built-in MICROPHONE",
                                       "⚠️ 没有找到需要销毁的聚合设备"));
    EXPECT_EQ(defaultOutput(), "speakers");
    router().setupSystemAudio();
    server->removeDevice("built-in");
    server->removeDevice("camera");
    takeLog();
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 恢复原始输出设备", "🗑️ 聚合设备销毁成功"));

    server->setDefaults("line", "speakers");
    router().setupSystemAudio();
    server->setDevice(source("dock", "Dock"));
    server->setDefaults("dock", "speakers"); // as a server that has restarted may choose
    router().setupSystemAudio();
    router().restoreDevices();
    EXPECT_EQ(defaultInput(), "line") << "the user's own, though it is not called a microphone";
    EXPECT_FALSE(journalExists());
}

TEST_F(KXAudioRouterTest, ARestartOfTheServerMakesWhatTheSessionNeedsAgain) {
    router().setupSystemAudio();
    runDelayed();
    for (int round = 1; round <= 3; ++round) {
        ASSERT_NO_FATAL_FAILURE(restart({sink("headset", "Headset Headphones"), source("camera", "摄像头麦克风")}));
        look(6);
        EXPECT_TRUE(server->deviceID("loop")) << "made again";
        EXPECT_FALSE(multiOutput()) << "the user's own output is still to come";
        server->setDevice(sink("speakers", "Built-in Speakers"));
        look(1);
        EXPECT_EQ(takeLog().mid(0, 1), QStringList("✅ 设置 BlackHole 为默认输入"));
        look(1);
        EXPECT_EQ(defaultInput(), "loop");
        EXPECT_EQ(defaultOutput(), "tqv-Multi-Output_UID");
        EXPECT_THAT(*multiOutput()->subDevices, ElementsAre("loop", "speakers"));
        EXPECT_TRUE(journalExists());
    }
    router().restoreDevices();
    EXPECT_EQ(defaultOutput(), "speakers");
    EXPECT_FALSE(multiOutput());
    EXPECT_FALSE(journalExists());
    server->restart(server->devices());
    server->drainListeners();
    QCoreApplication::processEvents();
    EXPECT_THAT(delayed, IsEmpty()) << "no session, nothing to keep";
}

TEST_F(KXAudioRouterTest, AfterARestartAnotherOutputServesWhileTheUsersOwnStaysAway) {
    router().setupSystemAudio();
    runDelayed();
    ASSERT_NO_FATAL_FAILURE(restart({sink("headset", "Headset Headphones"), sink("loop", "vorlanOutput 2ch")}));
    look(42);
    EXPECT_EQ(defaultOutput(), "tqv-Multi-Output_UID");
    EXPECT_THAT(*multiOutput()->subDevices, ElementsAre("loop", "headset"));
    server->setDevice(sink("speakers", "Built-in Speakers"));
    look(2);
    EXPECT_EQ(defaultOutput(), "tqv-Multi-Output_UID");
    EXPECT_THAT(*multiOutput()->subDevices, ElementsAre("loop", "speakers"));
    ASSERT_NO_FATAL_FAILURE(restart({sink("headset", "Headset Headphones"), sink("loop", "vorlanOutput 2ch")}));
    router().restoreDevices();
    router().setupSystemAudio();
    takeLog();
    runDelayed();
    EXPECT_THAT(takeLog(), ElementsAre("✅ 设置聚合设备为默认输出")) << "a look does not outlive its session";
}

TEST_F(KXAudioRouterTest, WhatCannotBeGivenBackWhileTheServerIsAwayOrHangsIsGivenBackWhenItReturns) {
    for (const bool hangs : {false, true}) {
        router().setupSystemAudio();
        runDelayed();
        if (hangs)
            server->failWrites(kAudioObjectSystemObject, fourCC("dOut"), kAudioHardwareUnspecifiedError);
        else
            server->failReads(kAudioObjectSystemObject, fourCC("dev#"), kAudioHardwareNotRunningError);
        router().restoreDevices();
        EXPECT_TRUE(journalExists()) << "for the next start, should there be no return; hangs: " << hangs;
        server->clearFaults();
        ASSERT_NO_FATAL_FAILURE(restart({sink("loop", "vorlanOutput 2ch"), source("built-in", "Built-in MICROPHONE")}));
        server->setDevice(sink("speakers", "Built-in Speakers"));
        look(1);
        EXPECT_EQ(defaultOutput(), "speakers");
        EXPECT_EQ(defaultInput(), "built-in");
        EXPECT_FALSE(journalExists());
    }
}

TEST_F(KXAudioRouterTest, DevicesMayGoAtEveryMomentOfASession) {
    for (const char* uid : {"speakers", "loop", "built-in", "tqv-Multi-Output_UID"}) {
        for (std::size_t call = 1; call < 120; call += 3) {
            dropRouter();
            server->clearFaults();
            server->setDevice(sink("speakers", "Built-in Speakers"));
            server->setDevice(sink("loop", "vorlanOutput 2ch"));
            server->setDevice(source("built-in", "Built-in MICROPHONE"));
            server->setDefaults("camera", "speakers");
            router();
            server->beforeCall(call, [this, uid] { server->removeDevice(uid); });
            router().setupSystemAudio();
            runDelayed();
            router().restoreDevices();
            EXPECT_FALSE(multiOutput()) << uid << " " << call;
            EXPECT_FALSE(journalExists()) << uid << " " << call;
            EXPECT_NE(defaultOutput(), "loop") << uid << " " << call;
        }
    }
}

} // namespace
} // namespace parlowen
