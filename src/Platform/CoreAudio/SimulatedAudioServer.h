#pragma once

#include "AudioDeviceRecord.h"
#include "ProgramAudioServer.h"

#include <map>
#include <mutex>

namespace parlowen {

/// An audio server in memory, for tests: its devices come and go, and its calls fail, as the test says. Any thread.
class SimulatedAudioServer : public ProgramAudioServer {
public:
    SimulatedAudioServer();
    ~SimulatedAudioServer() override;

    // What happens to devices. Each change is told to the listeners of what it touches.
    /// Adds the device, or changes the one with that UID. The first device with a side becomes that side's default.
    AudioObjectID setDevice(const AudioDeviceRecord& device);
    /// When it was a default device, the first one left with that side takes its place.
    void removeDevice(const std::string& uid);
    void renameDevice(const std::string& uid, const std::string& name);
    /// Empty: none.
    void setDefaults(const std::string& inputUid, const std::string& outputUid);
    /// The server ends.
    void stop();
    /// It is back, with these devices and defaults.
    void restart(const AudioDeviceList& list);
    /// Tells the listeners of the object that this property changed, true or not.
    void notify(AudioObjectID object, const AudioObjectPropertyAddress& address);
    /// Waits until all that happened so far has been told. Never call it from a listener.
    void drainListeners();

    /// 0 as long as no device has had that UID.
    AudioObjectID deviceID(const std::string& uid) const;
    AudioDeviceList devices() const;

    // Faults. They hold until clearFaults().
    /// Reads of that property return the status.
    void failReads(AudioObjectID object, FourCharCode selector, OSStatus status);
    /// Writes of that property return the status and change nothing.
    void failWrites(AudioObjectID object, FourCharCode selector, OSStatus status);
    /// The object looks as if it had no such property.
    void hideProperty(AudioObjectID object, FourCharCode selector);
    void failAddingListeners(AudioObjectID object, OSStatus status);
    void failRemovingListeners(OSStatus status); ///< the listener is gone nevertheless
    void failCreatingAggregates(OSStatus status);
    void failDestroyingAggregates(OSStatus status);
    /// Runs the action at the beginning of the n-th call from now (1: the next) of the AudioServer interface, on the
    /// caller's thread, such as one that takes a device away. The action may use this object.
    void beforeCall(std::size_t n, std::function<void()> action);
    void clearFaults();

    /// How often the AudioServer interface was called.
    std::size_t callCount() const;
    /// How many listeners are registered.
    std::size_t listenerCount() const;

    bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) override;
    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::vector<std::byte>& data) override;
    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::span<const std::byte> data) override;
    OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener,
                                 ListenerToken& token) override;
    OSStatus removePropertyListener(ListenerToken token) override;
    OSStatus createAggregateDevice(const QVariantMap& description, AudioObjectID& device) override;
    OSStatus destroyAggregateDevice(AudioObjectID device) override;

private:
    using Property = std::pair<AudioObjectID, FourCharCode>;
    struct Faults {
        std::map<Property, OSStatus> reads, writes, addingListeners; // the last by object and 0
        OSStatus removingListeners = 0, creatingAggregates = 0, destroyingAggregates = 0;
        std::multimap<std::size_t, std::function<void()>> actions; // by the number of the call that they precede
    };

    void beginCall();
    OSStatus fault(const std::map<Property, OSStatus> Faults::*kind, const Property& property) const;
    OSStatus fault(OSStatus Faults::*kind) const;
    template<class Change>
    void change(const Change& change);

    mutable std::mutex mutex_;
    AudioDeviceList devices_; // mutex_
    Faults faults_;           // mutex_
    std::size_t calls_ = 0;   // mutex_
};

} // namespace parlowen
