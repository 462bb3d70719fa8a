#pragma once

#include "AudioServer.h"

#include <memory>
#include <string>

namespace parlowen {

/// The audio server of the session, PulseAudio or PipeWire, reached by libpulse.
///
/// A sink is a device whose input side is its monitor: made the default input, its monitor becomes the default source.
/// A source that is no monitor is a device with input only. A device's name is its description, its UID the name that
/// the server knows it by. Ids stay with the UID, also when the server restarts. A sink of module-combine-sink is an
/// aggregate.
///
/// Reads are answered from a copy of the server's state that its notifications keep current: only the first call waits
/// for it, at most two seconds. Without a server there are no devices, and the device list answers 'stop'; as soon as
/// one can be reached there are. Never starts a server.
class PulseAudioServer : public AudioServer {
public:
    /// An empty address means the session's own server (PULSE_SERVER is honoured). Returns at once.
    explicit PulseAudioServer(std::string address = {});
    /// Not on a thread that is inside a call of this object, a listener excepted.
    ~PulseAudioServer() override;

    /// What was asked of the server so far; for measurements.
    struct Traffic {
        std::size_t requests = 0; ///< single requests
        std::size_t rounds = 0;   ///< times that the whole state was read: a handful of requests sent together
    };
    Traffic traffic() const;

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
    class Core;
    std::unique_ptr<Core> core_;
};

} // namespace parlowen
