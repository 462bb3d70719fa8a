#include "SimulatedAudioServer.h"

#include <PulseAudio/SessionRoute.h>
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

SimulatedAudioServer::SimulatedAudioServer()
    : ProgramAudioServer(std::make_shared<SessionRoute>()) {
    setServerDevices(AudioDeviceList());
}

SimulatedAudioServer::~SimulatedAudioServer() = default;

template<class Change>
void SimulatedAudioServer::change(const Change& change) {
    const std::lock_guard lock(mutex_);
    change(devices_);
    setServerDevices(devices_);
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
    return store().deviceID(device.uid);
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

void SimulatedAudioServer::stop() { setServerDevices(std::nullopt); }

void SimulatedAudioServer::restart(const AudioDeviceList& list) {
    stop();
    change([&](AudioDeviceList& now) { now = list; });
}

void SimulatedAudioServer::notify(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    store().listeners().notify(object, {address});
}

void SimulatedAudioServer::drainListeners() { store().listeners().drain(); }

AudioObjectID SimulatedAudioServer::deviceID(const std::string& uid) const { return store().deviceID(uid); }

AudioDeviceList SimulatedAudioServer::devices() const {
    const std::lock_guard lock(mutex_);
    return devices_;
}

std::size_t SimulatedAudioServer::callCount() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::size_t SimulatedAudioServer::listenerCount() const { return store().listeners().count(); }

bool SimulatedAudioServer::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    beginCall();
    return fault(&Faults::reads, {object, address.selector}) != kAudioHardwareUnknownPropertyError &&
           ProgramAudioServer::hasProperty(object, address);
}

OSStatus SimulatedAudioServer::getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               std::span<const std::byte> qualifier, std::vector<std::byte>& data) {
    beginCall();
    const OSStatus injected = fault(&Faults::reads, {object, address.selector});
    return injected ? injected : ProgramAudioServer::getPropertyData(object, address, qualifier, data);
}

OSStatus SimulatedAudioServer::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               std::span<const std::byte> qualifier, std::span<const std::byte> data) {
    beginCall();
    const OSStatus injected = fault(&Faults::writes, {object, address.selector});
    return injected ? injected : ProgramAudioServer::setPropertyData(object, address, qualifier, data);
}

OSStatus SimulatedAudioServer::addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                   Listener listener, ListenerToken& token) {
    beginCall();
    const OSStatus injected = fault(&Faults::addingListeners, {object, 0});
    return injected ? injected : ProgramAudioServer::addPropertyListener(object, address, std::move(listener), token);
}

OSStatus SimulatedAudioServer::removePropertyListener(ListenerToken token) {
    beginCall();
    const OSStatus status = ProgramAudioServer::removePropertyListener(token);
    const OSStatus injected = fault(&Faults::removingListeners);
    return injected ? injected : status;
}

OSStatus SimulatedAudioServer::createAggregateDevice(const QVariantMap& description, AudioObjectID& device) {
    beginCall();
    const OSStatus injected = fault(&Faults::creatingAggregates);
    return injected ? injected : ProgramAudioServer::createAggregateDevice(description, device);
}

OSStatus SimulatedAudioServer::destroyAggregateDevice(AudioObjectID device) {
    beginCall();
    const OSStatus injected = fault(&Faults::destroyingAggregates);
    return injected ? injected : ProgramAudioServer::destroyAggregateDevice(device);
}

} // namespace parlowen
