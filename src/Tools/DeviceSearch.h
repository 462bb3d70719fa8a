#pragma once

#include <Tools/SimplyCoreAudio/AudioDevice.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

/// How the router, its recovery and the audio check pick devices, so that all mean the same ones.
namespace parlowen::DeviceSearch {

/// The first device that passes the test; null when none does.
template<class Test>
std::shared_ptr<AudioDevice> firstOf(const std::vector<std::shared_ptr<AudioDevice>>& devices, const Test& test) {
    const auto found = std::find_if(devices.begin(), devices.end(), test);
    return found == devices.end() ? nullptr : *found;
}

/// None without a device, or when the device has no UID.
inline std::optional<QString> uidOf(const std::shared_ptr<AudioDevice>& device) {
    return device ? device->deviceUID() : std::nullopt;
}

/// A microphone is known by its name alone.
inline bool isMicrophone(const std::shared_ptr<AudioDevice>& device) {
    const QString name = device->deviceName().toLower();
    return !device->isAggregate() &&
           (name.contains(QStringLiteral("microphone")) || name.contains(QStringLiteral("麦克风")));
}

} // namespace parlowen::DeviceSearch
