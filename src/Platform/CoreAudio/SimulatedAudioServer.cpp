#include "SimulatedAudioServer.h"

#include "AggregateDescription.h"
#include "AudioPropertyData.h"

#include <algorithm>

namespace parlowen {

namespace {

using Devices = std::vector<AudioDeviceRecord>;

Devices::iterator find(Devices& devices, const std::string& uid) {
    return std::find_if(devices.begin(), devices.end(),
                        [&](const AudioDeviceRecord& device) { return device.uid == uid; });
}

/// Lets the first device with that side take the place of a default device that is gone.
void settleDefault(std::string& uid, Devices& devices,
                   std::optional<AudioDeviceRecord::Side> AudioDeviceRecord::*side) {
    const auto current = find(devices, uid);
    if (current != devices.end() && (*current).*side)
        return;
    const auto next = std::find_if(devices.begin(), devices.end(),
                                   [&](const AudioDeviceRecord& device) { return (device.*side).has_value(); });
    uid = next == devices.end() ? std::string() : next->uid;
}

void settleDefaults(AudioDeviceList& list) {
    settleDefault(list.defaultInput, list.devices, &AudioDeviceRecord::input);
    settleDefault(list.defaultOutput, list.devices, &AudioDeviceRecord::output);
}

} // namespace

SimulatedAudioServer::SimulatedAudioServer() = default;
SimulatedAudioServer::~SimulatedAudioServer() = default;

template<class Change>
void SimulatedAudioServer::change(const Change& change) {
    const std::lock_guard lock(mutex_);
    change(devices_);
    store_.setDevices(devices_);
}

AudioObjectID SimulatedAudioServer::setDevice(const AudioDeviceRecord& device) {
    change([&](AudioDeviceList& list) {
        const auto present = find(list.devices, device.uid);
        if (present == list.devices.end())
            list.devices.push_back(device);
        else
            *present = device;
        settleDefaults(list);
    });
    return store_.deviceID(device.uid);
}

void SimulatedAudioServer::removeDevice(const std::string& uid) {
    change([&](AudioDeviceList& list) {
        std::erase_if(list.devices, [&](const AudioDeviceRecord& device) { return device.uid == uid; });
        settleDefaults(list);
    });
}

void SimulatedAudioServer::renameDevice(const std::string& uid, const std::string& name) {
    change([&](AudioDeviceList& list) {
        const auto present = find(list.devices, uid);
        if (present != list.devices.end())
            present->name = name;
    });
}

void SimulatedAudioServer::setDefaults(const std::string& inputUid, const std::string& outputUid) {
    change([&](AudioDeviceList& list) {
        list.defaultInput = inputUid;
        list.defaultOutput = outputUid;
    });
}

void SimulatedAudioServer::restart(const AudioDeviceList& list) {
    change([&](AudioDeviceList& now) { now = {{}, {}, {}, now.restarts}; });
    change([&](AudioDeviceList& now) {
        now = {list.devices, list.defaultInput, list.defaultOutput, now.restarts + 1};
    });
}

void SimulatedAudioServer::notify(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    store_.listeners().notify(object, {address});
}

void SimulatedAudioServer::drainListeners() { store_.listeners().drain(); }

AudioObjectID SimulatedAudioServer::deviceID(const std::string& uid) const { return store_.deviceID(uid); }

AudioDeviceList SimulatedAudioServer::devices() const {
    const std::lock_guard lock(mutex_);
    return devices_;
}

std::size_t SimulatedAudioServer::callCount() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::size_t SimulatedAudioServer::listenerCount() const { return store_.listeners().count(); }

bool SimulatedAudioServer::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    beginCall();
    return fault(&Faults::reads, {object, address.selector}) != kAudioHardwareUnknownPropertyError &&
           store_.hasProperty(object, address);
}

OSStatus SimulatedAudioServer::getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               std::span<const std::byte> qualifier, std::vector<std::byte>& data) {
    beginCall();
    const OSStatus injected = fault(&Faults::reads, {object, address.selector});
    return injected ? injected : store_.read(object, address, qualifier, data);
}

OSStatus SimulatedAudioServer::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               std::span<const std::byte> /*qualifier*/,
                                               std::span<const std::byte> data) {
    beginCall();
    AudioDeviceRecord device;
    const OSStatus injected = fault(&Faults::writes, {object, address.selector});
    const OSStatus status = injected ? injected : store_.checkWrite(object, address, data, device);
    if (status != kAudioHardwareNoError)
        return status;
    change([&](AudioDeviceList& list) {
        (address.selector == fourCC("dIn ") ? list.defaultInput : list.defaultOutput) = device.uid;
    });
    return kAudioHardwareNoError;
}

OSStatus SimulatedAudioServer::addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                   Listener listener, ListenerToken& token) {
    beginCall();
    const OSStatus injected = fault(&Faults::addingListeners, {object, 0});
    return injected ? injected : store_.addListener(object, address, std::move(listener), token);
}

OSStatus SimulatedAudioServer::removePropertyListener(ListenerToken token) {
    beginCall();
    const OSStatus status = store_.removeListener(token);
    const OSStatus injected = fault(&Faults::removingListeners);
    return injected ? injected : status;
}

OSStatus SimulatedAudioServer::createAggregateDevice(const QVariantMap& description, AudioObjectID& device) {
    beginCall();
    AggregateDescription wanted;
    const OSStatus injected = fault(&Faults::creatingAggregates);
    const OSStatus status = injected ? injected : AggregateDescription::read(description, store_, wanted);
    if (status != kAudioHardwareNoError)
        return status;
    AudioDeviceRecord record;
    record.uid = wanted.uid;
    record.name = wanted.name;
    record.input = record.output = AudioDeviceRecord::Side();
    record.transport = fourCC("grup");
    record.subDevices = wanted.subDevices;
    device = setDevice(record);
    return kAudioHardwareNoError;
}

OSStatus SimulatedAudioServer::destroyAggregateDevice(AudioObjectID device) {
    beginCall();
    const OSStatus injected = fault(&Faults::destroyingAggregates);
    if (injected)
        return injected;
    if (!store_.hasProperty(device, {fourCC("clas")}))
        return kAudioHardwareBadObjectError;
    const auto record = store_.device(device);
    if (!record || !record->subDevices)
        return kAudioHardwareBadDeviceError;
    removeDevice(record->uid);
    return kAudioHardwareNoError;
}

} // namespace parlowen
