#include "AudioDevice.h"

#include "PropertyAccess.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>

#include <algorithm>
#include <array>
#include <utility>

namespace parlowen {

namespace {

struct Change {
    FourCharCode selector;
    const char* notification;
    bool tellsChannel = false;
};

constexpr std::array changes{
    Change{fourCC("nsrt"), "SimplyCoreAudio.deviceNominalSampleRateDidChange"},
    Change{fourCC("nsr#"), "SimplyCoreAudio.deviceAvailableNominalSampleRatesDidChange"},
    Change{fourCC("csrc"), "SimplyCoreAudio.deviceClockSourceDidChange"},
    Change{fourCC("lnam"), "SimplyCoreAudio.deviceNameDidChange"},
    Change{fourCC("ownd"), "SimplyCoreAudio.deviceOwnedObjectsDidChange"},
    Change{fourCC("volm"), "SimplyCoreAudio.deviceVolumeDidChange", true},
    Change{fourCC("mute"), "SimplyCoreAudio.deviceMuteDidChange", true},
    Change{fourCC("livn"), "SimplyCoreAudio.deviceIsAliveDidChange"},
    Change{fourCC("goin"), "SimplyCoreAudio.deviceIsRunningDidChange"},
    Change{fourCC("gone"), "SimplyCoreAudio.deviceIsRunningSomewhereDidChange"},
    Change{fourCC("jack"), "SimplyCoreAudio.deviceIsJackConnectedDidChange"},
    Change{fourCC("dch2"), "SimplyCoreAudio.devicePreferredChannelsForStereoDidChange"},
    Change{fourCC("oink"), "SimplyCoreAudio.deviceHogModeDidChange"},
    Change{fourCC("over"), "SimplyCoreAudio.deviceProcessorOverload"},
    Change{fourCC("stpd"), "SimplyCoreAudio.deviceIOStoppedAbnormally"},
};

void post(const std::shared_ptr<AudioDevice>& device, const AudioObjectPropertyAddress& address) {
    const auto* const change = std::find_if(changes.begin(), changes.end(), [&](const Change& candidate) {
        return candidate.selector == address.selector;
    });
    if (change == changes.end())
        return;
    QJsonObject userInfo;
    if (change->tellsChannel)
        userInfo = {{QStringLiteral("channel"), static_cast<qint64>(address.element)},
                    {QStringLiteral("scope"), static_cast<qint64>(address.scope)}};
    postOnMain(QString::fromLatin1(change->notification), device, userInfo);
}

} // namespace

void postOnMain(const QString& name, std::shared_ptr<const void> object, const QJsonObject& userInfo) {
    onMain([name, object = std::move(object), userInfo] {
        NotificationCenter::shared().post(name, object.get(), userInfo);
    });
}

AudioServer::Listener deviceListener(const std::weak_ptr<AudioObjectPool>& pool, const AudioDevice* device) {
    return [pool, device](AudioObjectID objectID, std::span<const AudioObjectPropertyAddress> addresses) -> OSStatus {
        const std::shared_ptr<AudioObjectPool> alive = pool.lock();
        const std::shared_ptr<AudioObject> object = alive ? alive->lookup(objectID) : nullptr;
        if (object.get() != device)
            return kAudioHardwareBadObjectError;
        const auto found = std::static_pointer_cast<AudioDevice>(object);
        for (const AudioObjectPropertyAddress& address : addresses)
            post(found, address);
        return kAudioHardwareNoError;
    };
}

using PropertyAccess::global;

AudioDevice::~AudioDevice() { stopListening(); }

bool AudioDevice::isDeviceClass(FourCharCode classID) {
    static constexpr std::array classes{fourCC("adev"), fourCC("asub"), fourCC("aagg"), fourCC("endp"), fourCC("edev")};
    return std::find(classes.begin(), classes.end(), classID) != classes.end();
}

QString AudioDevice::deviceName() const {
    if (const std::optional<QString> name = stringProperty(fourCC("lnam")))
        return *name;
    const std::lock_guard lock(cacheMutex_);
    return cachedDeviceName_.value_or(QStringLiteral("<Unknown Device Name>"));
}

std::optional<QString> AudioDevice::deviceUID() const {
    if (!server().hasProperty(objectID(), global(fourCC("uid "))))
        return std::nullopt;
    return stringProperty(fourCC("uid "));
}

bool AudioDevice::isAggregate() const {
    const std::vector<AudioObjectID> owned =
        PropertyAccess::objects(server(), objectID(), global(fourCC("ownd")), fourCC("aobj"))
            .value_or(std::vector<AudioObjectID>());
    return std::any_of(owned.begin(), owned.end(), [this](AudioObjectID id) { return pool()->device(id) != nullptr; });
}

void AudioDevice::makeDefault(FourCharCode selector) {
    PropertyAccess::setInteger(server(), kAudioObjectSystemObject, global(selector), objectID());
}

void AudioDevice::makeDefaultInput() { makeDefault(fourCC("dIn ")); }

void AudioDevice::makeDefaultOutput() { makeDefault(fourCC("dOut")); }

void AudioDevice::makeDefaultSystemOutput() { makeDefault(fourCC("sOut")); }

QJsonObject AudioDevice::summary() const {
    const std::lock_guard lock(cacheMutex_);
    return {{QStringLiteral("objectID"), static_cast<qint64>(objectID())},
            {QStringLiteral("uid"), cachedDeviceUID_.value_or(QString())},
            {QStringLiteral("name"), cachedDeviceName_.value_or(QStringLiteral("<Unknown Device Name>"))}};
}

void AudioDevice::activate() {
    startListening();
    const std::optional<QString> name = stringProperty(fourCC("lnam"));
    const std::optional<QString> uid = deviceUID();
    const std::lock_guard lock(cacheMutex_);
    cachedDeviceName_ = name;
    cachedDeviceUID_ = uid;
}

QString AudioDevice::description() const { return QStringLiteral("%1 (%2)").arg(deviceName()).arg(objectID()); }

void AudioDevice::startListening() {
    const OSStatus status =
        server().addPropertyListener(objectID(), kAudioObjectAnyProperty, deviceListener(pool(), this), listener_);
    isRegistered_ = status == kAudioHardwareNoError;
    if (!isRegistered_)
        systemLog(QStringLiteral("Unable to add property listener for %1.").arg(description()));
}

void AudioDevice::stopListening() {
    if (!isRegistered_.exchange(false))
        return;
    if (server().removePropertyListener(listener_) != kAudioHardwareNoError)
        systemLog(QStringLiteral("Unable to remove property listener for %1.").arg(description()));
}

} // namespace parlowen
