#include "SimulatedAudioServer.h"

namespace parlowen {

void SimulatedAudioServer::failReads(AudioObjectID object, FourCharCode selector, OSStatus status) {
    const std::lock_guard lock(mutex_);
    faults_.reads[{object, selector}] = status;
}

void SimulatedAudioServer::failWrites(AudioObjectID object, FourCharCode selector, OSStatus status) {
    const std::lock_guard lock(mutex_);
    faults_.writes[{object, selector}] = status;
}

void SimulatedAudioServer::hideProperty(AudioObjectID object, FourCharCode selector) {
    failReads(object, selector, kAudioHardwareUnknownPropertyError);
    failWrites(object, selector, kAudioHardwareUnknownPropertyError);
}

void SimulatedAudioServer::failAddingListeners(AudioObjectID object, OSStatus status) {
    const std::lock_guard lock(mutex_);
    faults_.addingListeners[{object, 0}] = status;
}

void SimulatedAudioServer::failRemovingListeners(OSStatus status) {
    const std::lock_guard lock(mutex_);
    faults_.removingListeners = status;
}

void SimulatedAudioServer::failCreatingAggregates(OSStatus status) {
    const std::lock_guard lock(mutex_);
    faults_.creatingAggregates = status;
}

void SimulatedAudioServer::failDestroyingAggregates(OSStatus status) {
    const std::lock_guard lock(mutex_);
    faults_.destroyingAggregates = status;
}

void SimulatedAudioServer::beforeCall(std::size_t n, std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    faults_.actions.emplace(calls_ + n, std::move(action));
}

void SimulatedAudioServer::clearFaults() {
    const std::lock_guard lock(mutex_);
    faults_ = {};
}

void SimulatedAudioServer::beginCall() {
    std::vector<std::function<void()>> actions;
    {
        const std::lock_guard lock(mutex_);
        const auto [first, last] = faults_.actions.equal_range(++calls_);
        for (auto action = first; action != last; ++action)
            actions.push_back(std::move(action->second));
        faults_.actions.erase(first, last);
    }
    for (const auto& action : actions)
        action();
}

OSStatus SimulatedAudioServer::fault(const std::map<Property, OSStatus> Faults::*kind, const Property& property) const {
    const std::lock_guard lock(mutex_);
    const auto found = (faults_.*kind).find(property);
    return found == (faults_.*kind).end() ? kAudioHardwareNoError : found->second;
}

OSStatus SimulatedAudioServer::fault(OSStatus Faults::*kind) const {
    const std::lock_guard lock(mutex_);
    return faults_.*kind;
}

} // namespace parlowen
