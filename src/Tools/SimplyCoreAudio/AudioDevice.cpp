#include "AudioDevice.h"

#include "AudioObjectPool.h"
#include "DeviceNotifications.h"
#include "PropertyAccess.h"

#include <Foundation/ConsoleLog.h>

#include <algorithm>
#include <array>

namespace parlowen {

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
