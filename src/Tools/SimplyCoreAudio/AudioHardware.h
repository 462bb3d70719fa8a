#pragma once

#include "AudioDevice.h"

#include <mutex>
#include <shared_mutex>
#include <vector>

namespace parlowen {

class AudioObjectPool;

/// Watches the system object: posts on the main queue, with itself as the object, that a default device or the device
/// list changed ("SimplyCoreAudio.defaultInputDeviceChanged" and its like). Any thread.
class AudioHardware : public std::enable_shared_from_this<AudioHardware> {
public:
    explicit AudioHardware(std::shared_ptr<AudioObjectPool> pool);
    ~AudioHardware();
    AudioHardware(const AudioHardware&) = delete;
    AudioHardware& operator=(const AudioHardware&) = delete;

    /// The devices in the server's order; empty when the list cannot be read.
    std::vector<std::shared_ptr<AudioDevice>> deviceList() const;
    /// The device that a property of the system object names; none when it cannot be read or names no device.
    std::shared_ptr<AudioDevice> defaultDevice(FourCharCode selector) const;

    /// The device list as far as changes of it have been heard.
    std::vector<std::shared_ptr<AudioDevice>> allKnownDevices() const;

    /// Starts listening and takes the present devices as known; stop() is its opposite. One thread at a time.
    void start();
    void stop();
    bool isRegisteredForNotifications() const { return isRegistered_; }

private:
    void startListening();
    void stopListening();
    OSStatus heard(std::span<const AudioObjectPropertyAddress> addresses);
    void deviceListChanged();

    const std::shared_ptr<AudioObjectPool> pool_;
    std::atomic<bool> isRegistered_ = false;
    ListenerToken listener_{};
    std::mutex updateMutex_;          ///< one update of the known devices at a time, from reading the list to its end
    mutable std::shared_mutex mutex_; ///< of the known devices; never held while the server is asked
    std::vector<std::shared_ptr<AudioDevice>> allKnownDevices_;
};

} // namespace parlowen
