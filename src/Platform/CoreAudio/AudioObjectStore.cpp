#include "AudioObjectStore.h"

#include "AudioPropertyData.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

const std::vector<std::byte>* find(const AudioObjects& objects, AudioObjectID object,
                                   const AudioObjectPropertyAddress& address) {
    const auto properties = objects.find(object);
    if (properties == objects.end())
        return nullptr;
    const auto value = properties->second.find(address);
    return value == properties->second.end() ? nullptr : &value->second;
}

FourCharCode classOf(const AudioObjects& objects, AudioObjectID object) {
    const auto* value = find(objects, object, {fourCC("clas")});
    return value ? propertyValue<FourCharCode>(*value).value_or(0) : 0;
}

std::vector<std::byte> ofClasses(const std::vector<FourCharCode>& classes, const std::vector<std::byte>& owned,
                                 const AudioObjects& objects) {
    std::vector<AudioObjectID> kept = propertyValues<AudioObjectID>(owned).value_or(std::vector<AudioObjectID>());
    std::erase_if(kept, [&](AudioObjectID id) {
        return std::none_of(classes.begin(), classes.end(),
                            [&](FourCharCode wanted) { return isKindOf(classOf(objects, id), wanted); });
    });
    return propertyData(kept);
}

/// The addresses whose values are not the same in both.
std::vector<AudioObjectPropertyAddress> changes(const AudioProperties& before, const AudioProperties& after) {
    std::vector<AudioObjectPropertyAddress> changed;
    for (const auto& [address, value] : before) {
        const auto now = after.find(address);
        if (now == after.end() || now->second != value)
            changed.push_back(address);
    }
    for (const auto& [address, value] : after) {
        if (!before.contains(address))
            changed.push_back(address);
    }
    return changed;
}

constexpr AudioObjectPropertyAddress isAlive{fourCC("livn")};

/// What is told of an object that is on one side only.
std::vector<AudioObjectPropertyAddress> comingOrGoing(const AudioProperties& properties) {
    return properties.contains(isAlive) ? std::vector{isAlive} : std::vector<AudioObjectPropertyAddress>();
}

void notifyChanges(const AudioObjects& before, const AudioObjects& after, PropertyListeners& listeners) {
    for (const auto& [id, properties] : before) {
        const auto now = after.find(id);
        listeners.notify(id, now == after.end() ? comingOrGoing(properties) : changes(properties, now->second));
    }
    for (const auto& [id, properties] : after) {
        if (!before.contains(id))
            listeners.notify(id, comingOrGoing(properties));
    }
}

} // namespace

AudioObjectStore::AudioObjectStore() {
    auto empty = std::make_shared<State>();
    empty->objects = makeObjects({}, ids_);
    state_ = std::move(empty);
}

void AudioObjectStore::setDevices(const AudioDeviceList& list) {
    auto next = std::make_shared<State>();
    for (const AudioDeviceRecord& device : list.devices)
        next->devices.emplace(device.uid, device);
    const std::lock_guard lock(mutex_);
    next->objects = makeObjects(list, ids_);
    const std::shared_ptr<const State> before = std::exchange(state_, next);
    notifyChanges(before->objects, next->objects, listeners_);
}

std::shared_ptr<const AudioObjectStore::State> AudioObjectStore::state() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

AudioObjectID AudioObjectStore::deviceID(const std::string& uid) const {
    const std::lock_guard lock(mutex_);
    return ids_.find(deviceKey(uid));
}

std::optional<AudioDeviceRecord> AudioObjectStore::device(AudioObjectID id) const {
    const auto now = state();
    const FourCharCode classID = classOf(now->objects, id);
    if (classID != fourCC("adev") && classID != fourCC("aagg"))
        return std::nullopt;
    return now->devices.at(propertyText(*find(now->objects, id, {fourCC("uid ")})));
}

std::optional<AudioDeviceRecord> AudioObjectStore::device(const std::string& uid) const {
    const auto now = state();
    const auto found = now->devices.find(uid);
    return found == now->devices.end() ? std::nullopt : std::optional(found->second);
}

bool AudioObjectStore::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
    return find(state()->objects, object, address) != nullptr;
}

OSStatus AudioObjectStore::read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                std::span<const std::byte> qualifier, std::vector<std::byte>& data) const {
    const auto now = state();
    if (!now->objects.contains(object))
        return kAudioHardwareBadObjectError;
    const auto* value = find(now->objects, object, address);
    if (!value)
        return kAudioHardwareUnknownPropertyError;
    if (address.selector != fourCC("ownd") || qualifier.empty()) {
        data = *value;
        return kAudioHardwareNoError;
    }
    const auto classes = propertyValues<FourCharCode>(qualifier);
    if (!classes)
        return kAudioHardwareBadPropertySizeError;
    data = ofClasses(*classes, *value, now->objects);
    return kAudioHardwareNoError;
}

OSStatus AudioObjectStore::checkWrite(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                      std::span<const std::byte> data, AudioDeviceRecord& device) const {
    const auto now = state();
    if (!now->objects.contains(object))
        return kAudioHardwareBadObjectError;
    if (!find(now->objects, object, address))
        return kAudioHardwareUnknownPropertyError;
    const bool input = address.selector == fourCC("dIn ");
    if (object != kAudioObjectSystemObject ||
        (!input && address.selector != fourCC("dOut") && address.selector != fourCC("sOut")))
        return kAudioHardwareUnsupportedOperationError;
    const auto id = propertyValue<AudioObjectID>(data);
    if (!id)
        return kAudioHardwareBadPropertySizeError;
    const auto wanted = this->device(*id);
    if (!wanted || !(input ? wanted->input : wanted->output))
        return kAudioHardwareBadDeviceError;
    device = *wanted;
    return kAudioHardwareNoError;
}

OSStatus AudioObjectStore::addListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                       AudioServer::Listener listener, ListenerToken& token) {
    if (!listener)
        return kAudioHardwareIllegalOperationError;
    if (!state()->objects.contains(object))
        return kAudioHardwareBadObjectError;
    token = listeners_.add(object, address, std::move(listener));
    return kAudioHardwareNoError;
}

OSStatus AudioObjectStore::removeListener(ListenerToken token) {
    return listeners_.remove(token) ? kAudioHardwareNoError : kAudioHardwareIllegalOperationError;
}

} // namespace parlowen
