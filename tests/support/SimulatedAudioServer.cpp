#include "SimulatedAudioServer.h"

#include <PulseAudio/SessionRoute.h>
#include <algorithm>

namespace parlowen::testing {

namespace {

/// Lets the first device with that side take the place of a default device that is gone.
void settleDefault(std::string& uid, const std::vector<AudioDeviceRecord>& devices,
                   std::optional<AudioDeviceRecord::Side> AudioDeviceRecord::*side) {
    const auto fits = [&](const AudioDeviceRecord& device) { return (device.*side).has_value(); };
    if (std::ranges::any_of(devices, [&](const auto& device) { return device.uid == uid && fits(device); }))
        return;
    const auto next = std::ranges::find_if(devices, fits);
    uid = next == devices.end() ? std::string() : next->uid;
}

void settleDefaults(AudioDeviceList& list) {
    settleDefault(list.defaultInput, list.devices, &AudioDeviceRecord::input);
    settleDefault(list.defaultOutput, list.devices, &AudioDeviceRecord::output);
}

} // namespace

SimulatedAudioServer::SimulatedAudioServer()
    : ProgramAudioServer(std::make_shared<SessionRoute>()) {
    setServerDevices(AudioDeviceList());
}

template<class Change>
void SimulatedAudioServer::change(const Change& change) {
    const std::lock_guard lock(mutex_);
    change(devices_);
    setServerDevices(devices_);
}

AudioObjectID SimulatedAudioServer::setDevice(const AudioDeviceRecord& device) {
    change([&](AudioDeviceList& list) {
        const auto present = std::ranges::find(list.devices, device.uid, &AudioDeviceRecord::uid);
        if (present == list.devices.end())
            list.devices.push_back(device);
        else
            *present = device;
        settleDefaults(list);
    });
    return deviceID(device.uid);
}

void SimulatedAudioServer::removeDevice(const std::string& uid) {
    change([&](AudioDeviceList& list) {
        std::erase_if(list.devices, [&](const AudioDeviceRecord& device) { return device.uid == uid; });
        settleDefaults(list);
    });
}

void SimulatedAudioServer::renameDevice(const std::string& uid, const std::string& name) {
    change([&](AudioDeviceList& list) {
        for (AudioDeviceRecord& device : list.devices)
            device.name = device.uid == uid ? name : device.name;
    });
}

void SimulatedAudioServer::setDefaults(const std::string& inputUid, const std::string& outputUid) {
    change([&](AudioDeviceList& list) {
        list.defaultInput = inputUid;
        list.defaultOutput = outputUid;
    });
}

/// The status that the call is to fail with; 0 when it is not.
OSStatus SimulatedAudioServer::begin(Call call, AudioObjectID object, FourCharCode selector) {
    const std::lock_guard lock(mutex_);
    const auto fault = faults_.find({call, object, selector});
    return fault == faults_.end() ? kAudioHardwareNoError : fault->second;
}

bool SimulatedAudioServer::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    return begin(Call::Read, object, address.selector) != kAudioHardwareUnknownPropertyError &&
           ProgramAudioServer::hasProperty(object, address);
}

OSStatus SimulatedAudioServer::getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               std::span<const std::byte> qualifier, std::vector<std::byte>& data) {
    const OSStatus fault = begin(Call::Read, object, address.selector);
    return fault ? fault : ProgramAudioServer::getPropertyData(object, address, qualifier, data);
}

OSStatus SimulatedAudioServer::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               std::span<const std::byte> qualifier, std::span<const std::byte> data) {
    const OSStatus fault = begin(Call::Write, object, address.selector);
    return fault ? fault : ProgramAudioServer::setPropertyData(object, address, qualifier, data);
}

OSStatus SimulatedAudioServer::createAggregateDevice(const QVariantMap& description, AudioObjectID& device) {
    descriptions.push_back(description);
    const OSStatus fault = begin(Call::CreateAggregate);
    return fault ? fault : ProgramAudioServer::createAggregateDevice(description, device);
}

OSStatus SimulatedAudioServer::destroyAggregateDevice(AudioObjectID device) {
    const OSStatus fault = begin(Call::DestroyAggregate);
    return fault ? fault : ProgramAudioServer::destroyAggregateDevice(device);
}

} // namespace parlowen::testing
