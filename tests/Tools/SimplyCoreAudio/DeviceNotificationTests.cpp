#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>
#include <Tools/SimplyCoreAudio/AudioObjectPool.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>
#include <support/SimulatedDevices.h>
#include <support/WaitFor.h>

#include <QJsonArray>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::IsEmpty;

const std::vector<std::pair<FourCharCode, const char*>> deviceChanges{
    {fourCC("nsrt"), "deviceNominalSampleRateDidChange"},
    {fourCC("nsr#"), "deviceAvailableNominalSampleRatesDidChange"},
    {fourCC("csrc"), "deviceClockSourceDidChange"},
    {fourCC("lnam"), "deviceNameDidChange"},
    {fourCC("ownd"), "deviceOwnedObjectsDidChange"},
    {fourCC("volm"), "deviceVolumeDidChange"},
    {fourCC("mute"), "deviceMuteDidChange"},
    {fourCC("livn"), "deviceIsAliveDidChange"},
    {fourCC("goin"), "deviceIsRunningDidChange"},
    {fourCC("gone"), "deviceIsRunningSomewhereDidChange"},
    {fourCC("jack"), "deviceIsJackConnectedDidChange"},
    {fourCC("dch2"), "devicePreferredChannelsForStereoDidChange"},
    {fourCC("oink"), "deviceHogModeDidChange"},
    {fourCC("over"), "deviceProcessorOverload"},
    {fourCC("stpd"), "deviceIOStoppedAbnormally"},
};
const std::vector<std::pair<FourCharCode, const char*>> systemChanges{
    {fourCC("dIn "), "defaultInputDeviceChanged"},
    {fourCC("dOut"), "defaultOutputDeviceChanged"},
    {fourCC("sOut"), "defaultSystemOutputDeviceChanged"},
    {fourCC("ownd"), "deviceListChanged"},
};

QString fullName(const char* name) { return QString("SimplyCoreAudio.") + QString::fromLatin1(name); }

class DeviceNotificationTest : public ::testing::Test {
protected:
    DeviceNotificationTest() {
        for (const auto& changes : {deviceChanges, systemChanges}) {
            for (const auto& [selector, name] : changes)
                NotificationCenter::shared().observe(fullName(name), &context, [this](const Notification& heard) {
                    EXPECT_TRUE(isMainThread());
                    notifications.push_back(heard);
                });
        }
    }

    /// All that was posted up to now.
    std::vector<Notification> takeNotifications() {
        server->drainListeners();
        QCoreApplication::processEvents();
        return std::exchange(notifications, {});
    }

    QObject context;
    std::vector<Notification> notifications;
    std::shared_ptr<SimulatedAudioServer> server = std::make_shared<SimulatedAudioServer>();
};

TEST_F(DeviceNotificationTest, EachChangeHasItsName) {
    const AudioObjectID id = server->setDevice(sink("a", "Speakers"));
    const SimplyCoreAudio simply(server);
    const auto device = simply.deviceList().back();
    for (const bool ofSystem : {false, true}) {
        const AudioObjectID object = ofSystem ? kAudioObjectSystemObject : id;
        for (const auto& [selector, name] : ofSystem ? systemChanges : deviceChanges) {
            server->notify(object, {selector, kAudioObjectPropertyScopeOutput, 2});
            const std::vector<Notification> heard = takeNotifications();
            ASSERT_EQ(heard.size(), 1U) << name;
            EXPECT_EQ(heard[0].name, fullName(name));
            EXPECT_EQ(heard[0].object, ofSystem ? static_cast<void*>(simply.hardware().get()) : device.get());
            const bool tellsChannel = selector == fourCC("volm") || selector == fourCC("mute");
            const QJsonObject channel{{"channel", 2}, {"scope", static_cast<qint64>(kAudioObjectPropertyScopeOutput)}};
            EXPECT_TRUE(ofSystem || heard[0].userInfo == (tellsChannel ? channel : QJsonObject())) << name;
        }
        server->notify(object, {fourCC("tran")});
        EXPECT_THAT(takeNotifications(), IsEmpty());
    }
}

TEST_F(DeviceNotificationTest, TheListNotificationTellsWhatCameAndWent) {
    server->setDevice(sink("a", "Speakers"));
    const SimplyCoreAudio simply(server);
    const auto lists = [](const Notification& heard) {
        return std::pair(heard.userInfo["addedDevices"].toArray(), heard.userInfo["removedDevices"].toArray());
    };
    const auto listChanges = [this] {
        std::vector<Notification> heard = takeNotifications();
        std::erase_if(heard, [](const Notification& one) { return one.name != fullName("deviceListChanged"); });
        return heard;
    };

    const AudioObjectID id = server->setDevice(source("u", "USB Microphone"));
    const QJsonArray plugged{
        QJsonObject{{"objectID", static_cast<qint64>(id)}, {"uid", "u"}, {"name", "USB Microphone"}}};
    for (const bool comes : {true, false}) {
        if (!comes)
            server->removeDevice("u");
        const std::vector<Notification> heard = listChanges();
        ASSERT_EQ(heard.size(), 1U);
        EXPECT_EQ(lists(heard[0]), std::pair(comes ? plugged : QJsonArray(), comes ? QJsonArray() : plugged));
        EXPECT_EQ(simply.hardware()->allKnownDevices(), simply.deviceList());
    }

    server->notify(kAudioObjectSystemObject, {fourCC("ownd")});
    const std::vector<Notification> heard = listChanges();
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(lists(heard[0]), std::pair(QJsonArray(), QJsonArray()));
    EXPECT_TRUE(heard[0].userInfo.contains("addedDevices") && heard[0].userInfo.contains("removedDevices"));
}

} // namespace
} // namespace parlowen
