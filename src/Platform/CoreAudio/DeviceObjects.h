#pragma once

#include "AudioDeviceRecord.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// Devices as objects with properties.
namespace parlowen {

/// The properties of one object: its values by address.
using AudioProperties = std::map<AudioObjectPropertyAddress, std::vector<std::byte>>;
using AudioObjects = std::map<AudioObjectID, AudioProperties>;

/// Gives each object its id. An object is known by a key; the same key always has the same id, and ids only grow.
class ObjectIDs {
public:
    AudioObjectID get(const std::string& key);
    /// 0 when the key never had one.
    AudioObjectID find(const std::string& key) const;

private:
    std::map<std::string, AudioObjectID> ids_;
    AudioObjectID next_ = kAudioObjectSystemObject + 1;
};

/// The key of the device with that UID.
std::string deviceKey(const std::string& uid);

/// The objects of the list, the system object included.
AudioObjects makeObjects(const AudioDeviceList& list, ObjectIDs& ids);

} // namespace parlowen
