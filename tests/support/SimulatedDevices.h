#pragma once

#include <CoreAudio/SimulatedAudioServer.h>

namespace parlowen::testing {

/// A device to play to, with its monitor on the input side, as audio servers have it.
inline AudioDeviceRecord sink(const std::string& uid, const std::string& name) {
    AudioDeviceRecord device;
    device.uid = uid;
    device.name = name;
    device.input = device.output = AudioDeviceRecord::Side();
    return device;
}

/// A device to record from.
inline AudioDeviceRecord source(const std::string& uid, const std::string& name) {
    AudioDeviceRecord device = sink(uid, name);
    device.output.reset();
    return device;
}

/// A device that plays into others.
inline AudioDeviceRecord combined(const std::string& uid, const std::string& name, std::vector<std::string> members) {
    AudioDeviceRecord device = sink(uid, name);
    device.subDevices = std::move(members);
    return device;
}

} // namespace parlowen::testing
