#include "PulseServerCore.h"

namespace parlowen {

PulseAudioServer::Core::Core(std::string address)
    : connection(std::move(address),
                 {[this](PulseSnapshot snapshot) { setState(std::move(snapshot)); }, [this] { setUnreachable(); }}) {}

void PulseAudioServer::Core::setState(PulseSnapshot snapshot) {
    auto next = std::make_shared<const PulseSnapshot>(std::move(snapshot));
    {
        const std::lock_guard lock(snapshotMutex_);
        snapshot_ = next;
    }
    // Both at once: whoever is told of the devices asks for them, and must find the server up.
    const std::lock_guard lock(mutex_);
    restarts_ += phase_ == Phase::Down && wasUp_ ? 1U : 0U;
    AudioDeviceList list = next->devices();
    list.restarts = restarts_;
    store.setDevices(list);
    wasUp_ = true;
    phase_ = Phase::Up;
    changed_.notify_all();
}

void PulseAudioServer::Core::setUnreachable() {
    const std::lock_guard lock(mutex_);
    AudioDeviceList none;
    none.restarts = restarts_;
    store.setDevices(none);
    // A server that was there is likely to be back in a moment; one that never was is not worth waiting for.
    if (phase_ != Phase::Down)
        patience_ = Clock::now() + (phase_ == Phase::Up ? std::chrono::seconds(2) : std::chrono::seconds(0));
    phase_ = Phase::Down;
    changed_.notify_all();
}

void PulseAudioServer::Core::waitForFirstState() {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, patience_, [this] { return phase_ != Phase::Connecting; });
}

OSStatus PulseAudioServer::Core::readWhileUp(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                             std::span<const std::byte> qualifier, std::vector<std::byte>& data) {
    const std::lock_guard lock(mutex_);
    return phase_ == Phase::Up ? store.read(object, address, qualifier, data) : kAudioHardwareNotRunningError;
}

bool PulseAudioServer::Core::waitUntilUp() {
    std::unique_lock lock(mutex_);
    while (phase_ != Phase::Up && changed_.wait_until(lock, patience_) == std::cv_status::no_timeout) {
    }
    return phase_ == Phase::Up;
}

OSStatus PulseAudioServer::Core::waitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(3), [&] { return phase_ != Phase::Up || condition(); });
    if (phase_ != Phase::Up)
        return kAudioHardwareNotRunningError;
    return condition() ? kAudioHardwareNoError : kAudioHardwareUnspecifiedError;
}

std::shared_ptr<const PulseSnapshot> PulseAudioServer::Core::snapshot() const {
    const std::lock_guard lock(snapshotMutex_);
    return snapshot_;
}

std::string PulseAudioServer::Core::sourceName(const std::string& uid) const {
    const auto now = snapshot();
    const PulseEndpoint* sink = now->sink(uid);
    return sink ? sink->partner : uid;
}

std::optional<std::uint32_t> PulseAudioServer::Core::combineModule(const std::string& uid) const {
    const auto now = snapshot();
    const PulseModule* module = now->combineModule(uid);
    return module ? std::optional(module->index) : std::nullopt;
}

} // namespace parlowen
