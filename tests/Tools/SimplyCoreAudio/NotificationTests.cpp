#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>
#include <support/SimulatedAudioServer.h>

#include <QCoreApplication>
#include <QJsonArray>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::IsEmpty;

using Names = std::vector<std::pair<FourCharCode, const char*>>;
const Names ofDevice{{fourCC("lnam"), "deviceNameDidChange"},
                     {fourCC("volm"), "deviceVolumeDidChange"},
                     {fourCC("mute"), "deviceMuteDidChange"}};
const Names ofSystem{{fourCC("dIn "), "defaultInputDeviceChanged"},
                     {fourCC("dOut"), "defaultOutputDeviceChanged"},
                     {fourCC("ownd"), "deviceListChanged"}};

class DeviceNotificationTest : public ::testing::Test {
protected:
    DeviceNotificationTest() {
        QCoreApplication::processEvents(); // what earlier tests have posted
        for (const Names& names : {ofDevice, ofSystem})
            for (const auto& [selector, name] : names)
                NotificationCenter::shared().observe(fullName(name), &context, [this](const Notification& heard) {
                    EXPECT_TRUE(isMainThread());
                    notifications.push_back(heard);
                });
    }

    static QString fullName(const char* name) { return QString("SimplyCoreAudio.") + QString::fromLatin1(name); }

    /// All that was posted up to now.
    std::vector<Notification> takeNotifications() {
        server->drainListeners();
        QCoreApplication::processEvents();
        return std::exchange(notifications, {});
    }

    QObject context;
    std::vector<Notification> notifications;
    std::shared_ptr<SimulatedAudioServer> server = std::make_shared<SimulatedAudioServer>();
    const AudioObjectID id = server->setDevice(sink("a", "Speakers"));
    const SimplyCoreAudio simply{server};
};

TEST_F(DeviceNotificationTest, EachChangeHasItsName) {
    const auto device = simply.deviceList().back();
    for (const Names& names : {ofDevice, ofSystem}) {
        const bool isSystem = names == ofSystem;
        for (const auto& [selector, name] : names) {
            server->notify(isSystem ? kAudioObjectSystemObject : id, {selector, kAudioObjectPropertyScopeOutput, 2});
            const std::vector<Notification> heard = takeNotifications();
            ASSERT_EQ(heard.size(), 1U) << name;
            EXPECT_EQ(heard[0].name, fullName(name));
            EXPECT_EQ(heard[0].object, isSystem ? static_cast<void*>(simply.hardware().get()) : device.get());
            const bool tellsChannel = selector == fourCC("volm") || selector == fourCC("mute");
            const QJsonObject channel{{"channel", 2}, {"scope", static_cast<qint64>(kAudioObjectPropertyScopeOutput)}};
            EXPECT_TRUE(isSystem || heard[0].userInfo == (tellsChannel ? channel : QJsonObject())) << name;
        }
        server->notify(isSystem ? kAudioObjectSystemObject : id, {fourCC("tran")});
        EXPECT_THAT(takeNotifications(), IsEmpty());
    }
}

TEST_F(DeviceNotificationTest, TheListNotificationTellsWhatCameAndWent) {
    const AudioObjectID usb = server->setDevice(source("u", "USB Microphone"));
    const QJsonArray plugged{
        QJsonObject{{"objectID", static_cast<qint64>(usb)}, {"uid", "u"}, {"name", "USB Microphone"}}};
    const auto expectList = [&](const QJsonArray& added, const QJsonArray& removed) {
        std::vector<Notification> heard = takeNotifications();
        std::erase_if(heard, [](const Notification& one) { return one.name != fullName("deviceListChanged"); });
        ASSERT_EQ(heard.size(), 1U);
        EXPECT_EQ(heard[0].userInfo, (QJsonObject{{"addedDevices", added}, {"removedDevices", removed}}));
        EXPECT_EQ(simply.hardware()->allKnownDevices(), simply.deviceList());
    };
    expectList(plugged, {});
    server->removeDevice("u");
    expectList({}, plugged);
    server->notify(kAudioObjectSystemObject, {fourCC("ownd")});
    expectList({}, {});
}

} // namespace
} // namespace parlowen
