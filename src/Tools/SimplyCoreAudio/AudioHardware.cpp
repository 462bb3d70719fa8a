#include "AudioHardware.h"

#include "PropertyAccess.h"

#include <Foundation/ConsoleLog.h>

#include <QJsonArray>
#include <algorithm>
#include <utility>

namespace parlowen {

using PropertyAccess::global;

namespace {

using Devices = std::vector<std::shared_ptr<AudioDevice>>;

Devices without(const Devices& devices, const Devices& others) {
    Devices left;
    std::copy_if(devices.begin(), devices.end(), std::back_inserter(left), [&others](const auto& device) {
        return std::find(others.begin(), others.end(), device) == others.end();
    });
    return left;
}

QJsonArray summaries(const Devices& devices) {
    QJsonArray array;
    for (const std::shared_ptr<AudioDevice>& device : devices)
        array.append(device->summary());
    return array;
}

} // namespace

AudioHardware::AudioHardware(std::shared_ptr<AudioObjectPool> pool)
    : pool_(std::move(pool)) {}

AudioHardware::~AudioHardware() { stopListening(); }

Devices AudioHardware::deviceList() const {
    const std::vector<AudioObjectID> ids =
        PropertyAccess::objects(*pool_->server(), kAudioObjectSystemObject, global(fourCC("dev#")))
            .value_or(std::vector<AudioObjectID>());
    Devices devices;
    for (const AudioObjectID id : ids) {
        if (std::shared_ptr<AudioDevice> device = pool_->device(id))
            devices.push_back(std::move(device));
    }
    return devices;
}

std::shared_ptr<AudioDevice> AudioHardware::defaultDevice(FourCharCode selector) const {
    const std::optional<std::uint32_t> id =
        PropertyAccess::integer(*pool_->server(), kAudioObjectSystemObject, global(selector));
    return id && *id != kAudioObjectUnknown ? pool_->device(*id) : nullptr;
}

Devices AudioHardware::allKnownDevices() const {
    const std::shared_lock lock(mutex_);
    return allKnownDevices_;
}

void AudioHardware::start() {
    startListening();
    const std::lock_guard update(updateMutex_);
    Devices present = deviceList();
    const std::unique_lock lock(mutex_);
    allKnownDevices_.swap(present);
}

// First the end of listening: what is heard until then may still add devices.
void AudioHardware::stop() {
    stopListening();
    Devices forgotten; // let go once the lock is
    const std::unique_lock lock(mutex_);
    allKnownDevices_.swap(forgotten);
}

void AudioHardware::startListening() {
    stopListening();
    const OSStatus status = pool_->server()->addPropertyListener(
        kAudioObjectSystemObject, kAudioObjectAnyProperty,
        [weak = weak_from_this()](AudioObjectID, std::span<const AudioObjectPropertyAddress> addresses) {
            const std::shared_ptr<AudioHardware> alive = weak.lock();
            return alive ? alive->heard(addresses) : kAudioHardwareNoError;
        },
        listener_);
    isRegistered_ = status == kAudioHardwareNoError;
    if (!isRegistered_)
        systemLog(
            QStringLiteral("Unable to add property listener for systemObjectID: %1.").arg(kAudioObjectSystemObject));
}

void AudioHardware::stopListening() {
    if (!isRegistered_.exchange(false))
        return;
    if (pool_->server()->removePropertyListener(listener_) != kAudioHardwareNoError)
        systemLog(
            QStringLiteral("Unable to remove property listener for systemObjectID: %1.").arg(kAudioObjectSystemObject));
}

OSStatus AudioHardware::heard(std::span<const AudioObjectPropertyAddress> addresses) {
    for (const AudioObjectPropertyAddress& address : addresses) {
        if (address.selector == fourCC("dIn "))
            postOnMain(QStringLiteral("SimplyCoreAudio.defaultInputDeviceChanged"), shared_from_this());
        else if (address.selector == fourCC("dOut"))
            postOnMain(QStringLiteral("SimplyCoreAudio.defaultOutputDeviceChanged"), shared_from_this());
        else if (address.selector == fourCC("sOut"))
            postOnMain(QStringLiteral("SimplyCoreAudio.defaultSystemOutputDeviceChanged"), shared_from_this());
        else if (address.selector == fourCC("ownd"))
            deviceListChanged();
    }
    return kAudioHardwareNoError;
}

void AudioHardware::deviceListChanged() {
    Devices added;
    Devices removed;
    {
        const std::lock_guard update(updateMutex_);
        const Devices latest = deviceList();
        const std::unique_lock lock(mutex_);
        added = without(latest, allKnownDevices_);
        removed = without(allKnownDevices_, latest);
        std::erase_if(allKnownDevices_, [&removed](const auto& device) {
            return std::find(removed.begin(), removed.end(), device) != removed.end();
        });
        allKnownDevices_.insert(allKnownDevices_.end(), added.begin(), added.end());
    }
    postOnMain(
        QStringLiteral("SimplyCoreAudio.deviceListChanged"), shared_from_this(),
        {{QStringLiteral("addedDevices"), summaries(added)}, {QStringLiteral("removedDevices"), summaries(removed)}});
}

} // namespace parlowen
