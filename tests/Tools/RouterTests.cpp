#include "support/Testing.h"
#include <AVFoundation/ChirpProbe.h>
#include <Tools/AudioCheck.h>
#include <Tools/KXAudioRouter.h>
#include <Tools/MicroManagement.h>
#include <support/CapturedLog.h>
#include <support/SimulatedAudioServer.h>

namespace parlowen::testing {
namespace {

/// A machine with speakers, a headset and three inputs, of which the user's own default is the camera, and a router
/// whose delayed work runs when the test says.
struct RouterFixture : ::testing::Test {
    RouterFixture() {
        server->setDevice(sink("headset", "Headset Headphones"));
        server->setDevice(sink("speakers", "Built-in Speakers"));
        server->setDevice(source("line", "Line In"));
        server->setDevice(source("built-in", "Built-in MICROPHONE"));
        server->setDevice(source("camera", "Webcam"));
        server->setDefaults("camera", "speakers");
    }
    KXAudioRouter& router() {
        if (!router_)
            router_ = std::make_unique<KXAudioRouter>(server, [this](double seconds, std::function<void()> work) {
                delays.push_back(seconds);
                delayed.push_back(std::move(work));
            });
        return *router_;
    }
    void dropRouter() { router_.reset(); }
    void runDelayed() {
        for (const auto& work : std::exchange(delayed, {}))
            work();
    }
    QString defaultInput() const { return uidOf(simply_.defaultInput()); }
    QString defaultOutput() const { return uidOf(simply_.defaultOutput()); }
    QStringList takeLog() {
        QStringList lines = log.lines().mid(seen_);
        seen_ += lines.size();
        return lines;
    }

    const std::shared_ptr<SimulatedAudioServer> server = std::make_shared<SimulatedAudioServer>();
    std::vector<double> delays;
    std::vector<std::function<void()>> delayed;
    CapturedLog log;

private:
    static QString uidOf(const std::shared_ptr<AudioDevice>& device) {
        return device ? device->deviceUID().value_or(QString()) : QString();
    }

    const SimplyCoreAudio simply_{server};
    std::unique_ptr<KXAudioRouter> router_;
    qsizetype seen_ = 0;
};

const QString loopback = QString::fromUtf8(loopbackDevice::uid);
const QString multiOutputUID = QStringLiteral("tqv-Multi-Output_UID");

using KXAudioRouterTest = RouterFixture;

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
    server->setDefaults("camera", "");
    router().setupSystemAudio(); // while there is no output yet
    EXPECT_EQ(defaultInput() + defaultOutput(), "camera");
    server->setDefaults("camera", "headset");
    EXPECT_THAT(takeLog(), ElementsAre("❌ 找不到合法的 BlackHole 或输出设备"));
    router().setupSystemAudio();
    router().restoreDevices();
    EXPECT_EQ(takeLog().last(), "🗑️ 聚合设备销毁成功");
    runDelayed();
    server->descriptions.clear();
    takeLog();
    dropRouter();
    server->stop();
    router().setupSystemAudio();
    router().switchInput(false);
    router().restoreDevices();
    EXPECT_THAT(takeLog(), ElementsAre("❌ 找不到合法的 BlackHole 或输出设备", "❌ BlackHole 设备不可用",
                                       "⚠️ 原始输出设备未记录"));
    EXPECT_TRUE(server->descriptions.empty() && delayed.empty());
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

struct AudioCheckTest : RouterFixture {
    std::string check(AVAuthorizationStatus permission = AVAuthorizationStatus::Authorized,
                      Language language = Language::English) {
        return checkAudio(server, language, permission).text(language).toStdString();
    }
};

TEST_F(AudioCheckTest, SaysWhatASessionWouldHearWhatIsMissingAndWhatToDo) {
    EXPECT_EQ(check(), "ok      The audio server answers and shows 5 devices.\n"
                       "ok      A session on the call hears what \"Built-in Speakers\" plays.\n"
                       "ok      A microphone interview hears \"Webcam\".\n");
    router().setupSystemAudio();
    EXPECT_THAT(check(), HasSubstr("shows 5 devices")) << "a session's notes are no devices";
    router().restoreDevices();
    AudioDeviceRecord speakers = sink("speakers", "Built-in Speakers");
    speakers.output->mute = true;
    server->setDevice(speakers);
    AudioDeviceRecord headset = sink("headset", "Headset Headphones");
    headset.running = true;
    server->setDevice(headset);
    EXPECT_THAT(check(), AllOf(HasSubstr("note    That output is muted"), HasSubstr("Unmute it"),
                               HasSubstr("note    Something plays on \"Headset Headphones\"")));
    for (const char* uid : {"built-in", "camera", "line"})
        server->removeDevice(uid);
    EXPECT_THAT(check(), HasSubstr("note    There is no microphone."));
    EXPECT_TRUE(checkAudio(server, Language::English, AVAuthorizationStatus::Restricted).isReady());
    server->setDefaults("", "");
    EXPECT_THAT(check(), HasSubstr("problem There is no default output."));
    EXPECT_THAT(check(AVAuthorizationStatus::Denied, Language::Chinese),
                HasSubstr("问题    音频服务不允许本程序录音。"));
    server->stop();
    EXPECT_THAT(check(), AllOf(HasSubstr("problem No audio server answers."), Not(HasSubstr("devices"))));
}

TEST(SoundMatchTest, FindsTheSoundAtItsPlaceAndLevel) {
    const std::vector<float> chirp = makeChirp();
    EXPECT_EQ(chirp.size(), 4000U);
    EXPECT_NEAR(*std::max_element(chirp.begin(), chirp.end()), 0.25, 0.005);
    std::vector<float> recording(20'000);
    for (std::size_t i = 0; i < recording.size(); ++i)
        recording[i] = 0.01F * std::sin(static_cast<float>(i) * 0.9F);
    EXPECT_LT(findSound(chirp, recording).likeness, 0.3) << "another sound";
    for (std::size_t i = 0; i < chirp.size(); ++i)
        recording[12'345 + i] -= chirp[i] / 2;
    const Match match = findSound(chirp, recording);
    EXPECT_EQ(match.position, 12'345U);
    EXPECT_GT(match.likeness, 0.9);
    EXPECT_NEAR(match.gain, 0.5, 0.01);
    EXPECT_EQ(findSound(chirp, std::vector<float>(20'000)).likeness, 0);
    EXPECT_EQ(findSound(chirp, std::vector<float>(100)).likeness, 0);
}

/// What is shown, logged and asked for, in order.
QStringList permissionCheck(AVAuthorizationStatus status) {
    QStringList events;
    const ConsoleLogCapture log([&events](const QString& line) { events << "log " + line; });
    MicroManagement::setHooks({[&events](const QString& text) { events << "show " + text; },
                               [status] { return status; }, [&events] { events << "request access"; }});
    MicroManagement::checkMicrophonePermission();
    MicroManagement::setHooks({});
    return events;
}

TEST(MicroManagementTest, SaysWhatIsMissingByTheState) {
    EXPECT_THAT(permissionCheck(AVAuthorizationStatus::NotDetermined),
                ElementsAre("show 没有麦克风权限", "log 没有麦克风权限", "request access"));
    EXPECT_THAT(permissionCheck(AVAuthorizationStatus::Restricted),
                ElementsAre("show 没有授权麦克风", "log 没有授权麦克风"));
    EXPECT_THAT(permissionCheck(AVAuthorizationStatus::Denied), ElementsAre("log 没有授权", "show 没有授权"));
    EXPECT_THAT(permissionCheck(AVAuthorizationStatus::Authorized), ElementsAre("log 已经授权"));
}

} // namespace
} // namespace parlowen::testing
