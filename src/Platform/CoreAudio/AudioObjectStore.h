#pragma once

#include "AudioDeviceRecord.h"
#include "AudioServer.h"
#include "DeviceObjects.h"
#include "PropertyListeners.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace parlowen {

/// What every audio server needs: the objects that stand for its devices, their properties and who listens to them.
/// Any thread.
class AudioObjectStore {
public:
    AudioObjectStore();

    /// Makes these the devices and tells the listeners of every property that changes by it, 'livn' of each device that
    /// goes included. The devices keep the order in which they were first seen.
    void setDevices(const AudioDeviceList& list);

    /// The id of the device with that UID, whether it is there or not; 0 when none has ever been.
    AudioObjectID deviceID(const std::string& uid) const;
    /// The device with that id, if it is there.
    std::optional<AudioDeviceRecord> device(AudioObjectID id) const;
    std::optional<AudioDeviceRecord> device(const std::string& uid) const;

    bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
    OSStatus read(AudioObjectID object, const AudioObjectPropertyAddress& address, std::span<const std::byte> qualifier,
                  std::vector<std::byte>& data) const;

    /// Checks a write. Only the system object's default devices can be written: returns 0 and the device that is to
    /// become the default, which is there and has the side for it.
    OSStatus checkWrite(AudioObjectID object, const AudioObjectPropertyAddress& address,
                        std::span<const std::byte> data, AudioDeviceRecord& device) const;

    OSStatus addListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                         AudioServer::Listener listener, ListenerToken& token);
    /// 'nope' when there is no such registration.
    OSStatus removeListener(ListenerToken token);
    PropertyListeners& listeners() { return listeners_; }
    const PropertyListeners& listeners() const { return listeners_; }

private:
    struct State {
        AudioObjects objects;
        std::map<std::string, AudioDeviceRecord> devices; // by UID
    };

    std::shared_ptr<const State> state() const;

    mutable std::mutex mutex_;           // also keeps the notifications in the order of the changes
    ObjectIDs ids_;                      // mutex_
    std::shared_ptr<const State> state_; // mutex_; the state itself never changes
    PropertyListeners listeners_;
};

} // namespace parlowen
