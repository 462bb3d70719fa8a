#pragma once

#include "AudioObjectStore.h"
#include "AudioServer.h"

#include <memory>
#include <mutex>
#include <optional>

namespace parlowen {

class SessionRoute;

/// The devices as this program sees them: those that an audio server has, and what the program's sessions have noted
/// beside them. Nothing that is set here reaches the server.
///
/// - The loop-back device comes first wherever there is a server.
/// - The default input is the input of the program's sessions. Made the default input, the loop-back device stands for
///   the server's default output, a device with output for what it plays, another one for itself as long as the user
///   chooses no other in the server. Until one is made it, it is the server's.
/// - An aggregate device is a note that the session hears an output: in the place of the default output that it was
/// made
///   with it has the one that is heard, when the user has chosen another since. While it is the default output it reads
///   as such; making any other device the default output ends that, and the default output is the server's again.
///
/// Without a server there are no devices, the device list answers 'stop', and so does every change.
class ProgramAudioServer : public AudioServer {
public:
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

protected:
    explicit ProgramAudioServer(std::shared_ptr<SessionRoute> route);

    /// What the server has now; none while there is no server.
    void setServerDevices(std::optional<AudioDeviceList> list);
    AudioObjectStore& store() { return store_; }
    const AudioObjectStore& store() const { return store_; }

private:
    bool isUp() const;
    void setInput(const AudioDeviceRecord& device);
    void refresh();
    AudioDeviceList view() const;
    std::string chosenDevice() const;
    std::string sessionInput() const;
    AudioDeviceRecord aggregateNow() const;
    std::string fittestMicrophone() const;
    bool isRealInput(const std::string& uid) const;

    const std::shared_ptr<SessionRoute> route_;
    AudioObjectStore store_;
    mutable std::mutex mutex_;                   ///< of the notes below; never held while the route is changed
    std::optional<AudioDeviceList> server_;      ///< mutex_
    std::optional<AudioDeviceRecord> aggregate_; ///< mutex_
    std::string defaultInAggregate_;             ///< mutex_; the server's default output when it was made
    bool aggregateIsDefault_ = false;            ///< mutex_
    std::shared_ptr<void> routeWatch_;
};

} // namespace parlowen
