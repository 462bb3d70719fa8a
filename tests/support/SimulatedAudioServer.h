#pragma once

#include <CoreAudio/ProgramAudioServer.h>
#include <map>
#include <mutex>
#include <tuple>

namespace parlowen::testing {

/// A device to play to, with its monitor on the input side, as audio servers have it.
inline AudioDeviceRecord sink(const std::string& uid, const std::string& name) {
    AudioDeviceRecord device;
    device.uid = uid;
    device.name = name;
    device.input = device.output = AudioDeviceRecord::Side();
    return device;
}

inline AudioDeviceRecord source(const std::string& uid, const std::string& name) {
    AudioDeviceRecord device = sink(uid, name);
    device.output.reset();
    return device;
}

/// An audio server in memory: its devices come and go, and its calls fail, as the test says. Any thread.
class SimulatedAudioServer : public ProgramAudioServer {
public:
    SimulatedAudioServer();

    // What happens to devices. Each change is told to the listeners of what it touches.
    /// Adds the device, or changes the one with that UID. The first device with a side becomes that side's default.
    AudioObjectID setDevice(const AudioDeviceRecord& device);
    /// When it was a default device, the first one left with that side takes its place.
    void removeDevice(const std::string& uid);
    void renameDevice(const std::string& uid, const std::string& name);
    void setDefaults(const std::string& inputUid, const std::string& outputUid);
    void stop() { setServerDevices(std::nullopt); }
    /// Tells the listeners of the object that this property changed, true or not.
    void notify(AudioObjectID object, const AudioObjectPropertyAddress& address) {
        store().listeners().notify(object, {address});
    }
    /// Waits until all that happened so far has been told. Never call it from a listener.
    void drainListeners() { store().listeners().drain(); }

    /// 0 as long as no device has had that UID.
    AudioObjectID deviceID(const std::string& uid) const { return store().deviceID(uid); }
    AudioDeviceList devices() const {
        const std::lock_guard lock(mutex_);
        return devices_;
    }
    std::size_t listenerCount() const { return store().listeners().count(); }

    /// What is to fail.
    enum class Call { Read, Write, CreateAggregate, DestroyAggregate };
    /// These calls return the status and change nothing, until clearFaults(). Object and selector count for those calls
    /// that have one; a property whose reads fail as unknown looks as if it were not there.
    void fail(Call call, OSStatus status, AudioObjectID object = 0, FourCharCode selector = 0) {
        const std::lock_guard lock(mutex_);
        faults_[{call, object, selector}] = status;
    }
    void clearFaults() {
        const std::lock_guard lock(mutex_);
        faults_.clear();
    }

    bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) override;
    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::vector<std::byte>& data) override;
    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::span<const std::byte> data) override;
    OSStatus createAggregateDevice(const QVariantMap& description, AudioObjectID& device) override;
    OSStatus destroyAggregateDevice(AudioObjectID device) override;

    std::vector<QVariantMap> descriptions; ///< of the aggregate devices that were asked for; not from several threads

private:
    OSStatus begin(Call call, AudioObjectID object = 0, FourCharCode selector = 0);
    template<class Change>
    void change(const Change& change);

    mutable std::mutex mutex_;
    AudioDeviceList devices_; // mutex_, as all that follows
    std::map<std::tuple<Call, AudioObjectID, FourCharCode>, OSStatus> faults_;
};
using Call = SimulatedAudioServer::Call;

} // namespace parlowen::testing
