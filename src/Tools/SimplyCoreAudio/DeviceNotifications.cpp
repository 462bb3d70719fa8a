#include "DeviceNotifications.h"

#include "AudioDevice.h"
#include "AudioObjectPool.h"

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

} // namespace parlowen
