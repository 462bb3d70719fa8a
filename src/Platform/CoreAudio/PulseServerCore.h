#pragma once

#include "AudioObjectStore.h"
#include "PulseAudioServer.h"
#include "PulseConnection.h"

#include <condition_variable>

namespace parlowen {

/// The copy of the server's state, and the waiting for what is to become of it.
class PulseAudioServer::Core {
public:
    explicit Core(std::string address);

    /// Waits until the server's state is known or known to be out of reach; only as long as the object is new.
    void waitForFirstState();
    /// Reads a property; 'stop' while the server is not there.
    OSStatus readWhileUp(AudioObjectID object, const AudioObjectPropertyAddress& address,
                         std::span<const std::byte> qualifier, std::vector<std::byte>& data);
    /// Waits for the server for a while when it has only just gone (or never answered yet); false when it is not there.
    bool waitUntilUp();
    /// Waits until the condition holds: 'what' when it does not in time, 'stop' when the server goes. The condition
    /// may look at the store and at combineModule().
    OSStatus waitFor(const std::function<bool()>& condition);

    /// The source that records the device: its monitor or itself.
    std::string sourceName(const std::string& uid) const;
    /// The module that made the aggregate device.
    std::optional<std::uint32_t> combineModule(const std::string& uid) const;

    AudioObjectStore store;

private:
    using Clock = std::chrono::steady_clock;
    enum class Phase { Connecting, Up, Down };

    void setState(PulseSnapshot snapshot);
    void setUnreachable();
    std::shared_ptr<const PulseSnapshot> snapshot() const;

    mutable std::mutex snapshotMutex_;
    std::shared_ptr<const PulseSnapshot> snapshot_ = std::make_shared<PulseSnapshot>(); // snapshotMutex_
    std::mutex mutex_;
    std::condition_variable changed_;
    Phase phase_ = Phase::Connecting; // mutex_; changes together with the store's devices
    bool wasUp_ = false;              // mutex_
    std::uint32_t restarts_ = 0;      // mutex_
    Clock::time_point patience_ =
        Clock::now() + std::chrono::milliseconds(1500); // mutex_: until when to wait for the server

public:
    PulseConnection connection; // the last member: its hooks use the others
};

} // namespace parlowen
