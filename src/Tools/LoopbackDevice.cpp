#include "LoopbackDevice.h"

#include "AudioRouteNames.h"

#include <CoreAudio/LoopbackSetup.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>

namespace parlowen::LoopbackDevice {

namespace {

constexpr std::chrono::seconds patience{3};

bool isThere(const std::shared_ptr<AudioServer>& server) {
    const auto devices = SimplyCoreAudio(server).deviceList();
    return std::any_of(devices.begin(), devices.end(), [](const std::shared_ptr<AudioDevice>& device) {
        return device->deviceName() == AudioRouteNames::loopbackDevice();
    });
}

/// Wakes up whoever waits when the device list changes.
class ListWatch {
public:
    explicit ListWatch(AudioServer& server)
        : server_(server) {
        server_.addPropertyListener(
            kAudioObjectSystemObject, {fourCC("dev#")},
            [this](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
                const std::lock_guard lock(mutex_);
                changed_.notify_all();
                return kAudioHardwareNoError;
            },
            token_);
    }
    ~ListWatch() { server_.removePropertyListener(token_); }
    ListWatch(const ListWatch&) = delete;
    ListWatch& operator=(const ListWatch&) = delete;

    bool waitUntil(const std::function<bool()>& condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, condition);
    }

private:
    AudioServer& server_;
    ListenerToken token_{};
    std::mutex mutex_;
    std::condition_variable changed_;
};

} // namespace

std::optional<QString> create() {
    return createNullSink("vorlanOutput", AudioRouteNames::loopbackDevice().toStdString());
}

Setup setUp(const std::shared_ptr<AudioServer>& server, const Creator& creator) {
    if (isThere(server))
        return {Setup::Outcome::AlreadyThere, {}};
    ListWatch watch(*server);
    if (const std::optional<QString> problem = creator())
        return {Setup::Outcome::Failed, *problem};
    if (!watch.waitUntil([&server] { return isThere(server); }))
        return {Setup::Outcome::Failed, QStringLiteral("the audio server does not show the new device")};
    return {Setup::Outcome::Created, {}};
}

} // namespace parlowen::LoopbackDevice
