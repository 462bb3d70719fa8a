#include "support/Testing.h"
#include <CoreAudio/AudioPropertyData.h>
#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>
#include <QCoreApplication>
#include <QJsonArray>
#include <Tools/SimplyCoreAudio/AudioObjectPool.h>
#include <Tools/SimplyCoreAudio/PropertyAccess.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <support/CapturedLog.h>
#include <support/SimulatedAudioServer.h>

namespace parlowen::testing {
namespace {

struct DeviceTest : ::testing::Test {
    std::shared_ptr<AudioDevice> device(const std::string& uid) { return pool->device(server->deviceID(uid)); }
    /// The first object of that class that a device owns.
    AudioObjectID owned(const std::string& uid, FourCharCode classID) {
        std::vector<std::byte> data;
        server->getPropertyData(server->deviceID(uid), {fourCC("ownd")}, propertyData(classID), data);
        return propertyValues<AudioObjectID>(data).value().at(0);
    }

    std::shared_ptr<SimulatedAudioServer> server = std::make_shared<SimulatedAudioServer>();
    std::shared_ptr<AudioObjectPool> pool = AudioObjectPool::shared(server);
    CapturedSystemLog log;
};

std::vector<QString> names(const std::vector<std::shared_ptr<AudioDevice>>& devices) {
    std::vector<QString> result;
    std::ranges::transform(devices, std::back_inserter(result), &AudioDevice::deviceName);
    return result;
}

TEST_F(DeviceTest, TheListKeepsOneObjectForADeviceAndTheServersOrder) {
    server->setDevice(sink("b", "Speakers"));
    server->setDevice(source("a", "USB Microphone"));
    const SimplyCoreAudio simply(server);
    const auto first = simply.deviceList();
    EXPECT_THAT(names(first), ElementsAre("vorlanOutput 2ch", "Speakers", "USB Microphone"));
    EXPECT_EQ(first, simply.deviceList());
    EXPECT_EQ(first, SimplyCoreAudio(server).deviceList());
    EXPECT_EQ(simply.defaultOutput(), first[1]);
    EXPECT_EQ(simply.defaultSystemOutput(), first[1]);
    EXPECT_EQ(first[2]->deviceUID(), "a");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DeviceTest, OnlyObjectsOfADeviceClassAreDevices) {
    server->setDevice(sink("a", "Speakers"));
    AudioDeviceRecord combined = sink("c", "Both");
    combined.subDevices = {"a"};
    server->setDevice(combined);
    EXPECT_EQ(pool->device(owned("a", fourCC("astr"))), nullptr);
    EXPECT_EQ(pool->device(kAudioObjectSystemObject), nullptr);
    const auto subDevice = pool->device(owned("c", fourCC("asub")));
    ASSERT_TRUE(subDevice);
    EXPECT_EQ(subDevice->deviceUID(), "a");
    const auto both = device("c");
    EXPECT_TRUE(both->isAggregate());
    EXPECT_FALSE(device("a")->isAggregate());
    EXPECT_THAT(names(SimplyCoreAudio(server).aggregateDeviceList()), ElementsAre("Both"));
    EXPECT_EQ(subDevice->owningDevice(), both);
    EXPECT_EQ(both->owningDevice(), nullptr);
    const auto lives = [&] {
        return PropertyAccess::integer(*server, subDevice->objectID(), PropertyAccess::global(fourCC("livn")));
    };
    EXPECT_EQ(lives(), 1U);
    server->removeDevice("a");
    EXPECT_EQ(lives(), 0U);
}

TEST_F(DeviceTest, ANameThatCannotBeReadIsTheOneItHadOrUnknown) {
    server->setDevice(sink("a", "Speakers"));
    server->setDevice(sink("b", "Headset"));
    const auto a = device("a");
    server->renameDevice("a", "Loudspeakers");
    EXPECT_EQ(a->deviceName(), "Loudspeakers");
    server->removeDevice("a");
    EXPECT_EQ(a->deviceName(), "Speakers");
    const auto lines = log.lines();
    EXPECT_EQ(a->deviceUID(), std::nullopt);
    EXPECT_EQ(log.lines(), lines) << "a UID that is not there is no fault";
    server->fail(Call::Read, kAudioHardwareUnspecifiedError, server->deviceID("b"), fourCC("lnam"));
    EXPECT_EQ(device("b")->deviceName(), "<Unknown Device Name>");
    ASSERT_FALSE(log.lines().isEmpty());
    EXPECT_EQ(log.lines().last(), QString("Unable to get property with address ('lnam', 'glob', 0). Status: %1")
                                      .arg(kAudioHardwareUnspecifiedError));
    server->clearFaults();
    server->fail(Call::Read, kAudioHardwareUnspecifiedError, server->deviceID("b"), fourCC("uid "));
    EXPECT_EQ(device("b")->deviceUID(), std::nullopt);
    server->fail(Call::Read, kAudioHardwareBadObjectError, server->setDevice(sink("c", "New")), fourCC("clas"));
    EXPECT_THAT(names(SimplyCoreAudio(server).deviceList()), ElementsAre("vorlanOutput 2ch", "Headset"))
        << "one does not resolve";
    server->setDefaults("", "");
    EXPECT_EQ(SimplyCoreAudio(server).defaultInput(), nullptr);
}

/// Does something, once, when an object's class has been read, or a listener has gone.
struct ServerThatIsRead : SimulatedAudioServer {
    std::function<void()> onClassRead, onListenerGone;
    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::vector<std::byte>& data) override {
        const OSStatus status = SimulatedAudioServer::getPropertyData(object, address, qualifier, data);
        if (const auto act = address.selector == fourCC("clas") ? std::exchange(onClassRead, nullptr) : nullptr)
            act();
        return status;
    }
    OSStatus removePropertyListener(ListenerToken token) override {
        const OSStatus status = SimulatedAudioServer::removePropertyListener(token);
        if (const auto act = std::exchange(onListenerGone, nullptr))
            act();
        return status;
    }
};

TEST(AudioObjectPoolTest, OfTwoThatWrapADeviceAtTheSameTimeOneIsTheDevice) {
    const auto server = std::make_shared<ServerThatIsRead>();
    const AudioObjectID id = server->setDevice(sink("a", "Speakers"));
    const auto pool = AudioObjectPool::shared(server);
    std::shared_ptr<AudioDevice> quicker;
    server->onClassRead = [&] { quicker = pool->device(id); };
    EXPECT_EQ(pool->device(id), quicker);
    EXPECT_EQ(server->listenerCount(), 1U);
    std::shared_ptr<AudioDevice> next; // another wrapper, made while the first one dies
    server->onListenerGone = [&] { next = pool->device(id); };
    quicker.reset();
    EXPECT_EQ(pool->device(id), next);
    next.reset();
    EXPECT_EQ(pool->size() + server->listenerCount(), 0U) << "nothing is left";
}

TEST_F(DeviceTest, FacadesShareOneMonitorWhichGoesWithTheLast) {
    server->setDevice(sink("a", "Speakers"));
    auto first = std::make_unique<SimplyCoreAudio>(server);
    auto second = std::make_unique<SimplyCoreAudio>(server);
    EXPECT_EQ(first->hardware(), second->hardware());
    EXPECT_EQ(server->listenerCount(), 3U) << "the system object and two devices";
    first.reset();
    const std::shared_ptr<AudioHardware> kept = second->hardware();
    EXPECT_TRUE(kept->isRegisteredForNotifications());
    second.reset();
    EXPECT_FALSE(kept->isRegisteredForNotifications());
    EXPECT_EQ(server->listenerCount(), 0U);
}

using Names = std::vector<std::pair<FourCharCode, const char*>>;
const Names ofDevice{{fourCC("lnam"), "deviceNameDidChange"},
                     {fourCC("volm"), "deviceVolumeDidChange"},
                     {fourCC("mute"), "deviceMuteDidChange"}};
const Names ofSystem{{fourCC("dIn "), "defaultInputDeviceChanged"},
                     {fourCC("dOut"), "defaultOutputDeviceChanged"},
                     {fourCC("ownd"), "deviceListChanged"}};

struct DeviceNotificationTest : ::testing::Test {
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
} // namespace parlowen::testing
