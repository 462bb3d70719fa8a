#include "ProgramAudioServer.h"

#include "AggregateDescription.h"
#include "LoopbackDevice.h"

#include <PulseAudio/SessionRoute.h>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

const AudioDeviceRecord* find(const AudioDeviceList& list, const std::string& uid) {
    const auto found = std::ranges::find(list.devices, uid, &AudioDeviceRecord::uid);
    return found == list.devices.end() ? nullptr : &*found;
}

AudioDeviceRecord deviceOfBothSides(std::string uid, std::string name) {
    AudioDeviceRecord device;
    device.uid = std::move(uid);
    device.name = std::move(name);
    device.input = device.output = AudioDeviceRecord::Side();
    return device;
}

} // namespace

ProgramAudioServer::ProgramAudioServer(std::shared_ptr<SessionRoute> route)
    : route_(std::move(route))
    , routeWatch_(route_->watch([this] { refresh(); })) {}

void ProgramAudioServer::setServerDevices(std::optional<AudioDeviceList> list) {
    {
        const std::lock_guard lock(mutex_);
        server_ = std::move(list);
    }
    refresh();
}

bool ProgramAudioServer::isUp() const {
    const std::lock_guard lock(mutex_);
    return server_.has_value();
}

bool ProgramAudioServer::isRealInput(const std::string& uid) const {
    const AudioDeviceRecord* device = find(*server_, uid);
    return device && device->input && !device->output;
}

void ProgramAudioServer::refresh() {
    const std::lock_guard lock(mutex_);
    store_.setDevices(server_ ? view() : AudioDeviceList());
}

AudioDeviceList ProgramAudioServer::view() const {
    AudioDeviceList list = *server_;
    list.devices.insert(list.devices.begin(), deviceOfBothSides(loopbackDevice::uid, loopbackDevice::name));
    if (aggregate_)
        list.devices.push_back(*aggregate_);
    list.usersInput = server_->defaultInput;
    list.defaultInput = sessionInput();
    if (aggregate_ && aggregateIsDefault_)
        list.defaultOutput = aggregate_->uid;
    return list;
}

std::string ProgramAudioServer::sessionInput() const {
    const auto choice = route_->choice();
    if (!choice)
        return server_->defaultInput;
    const bool microphone = choice->what == SessionRoute::What::Microphone;
    const bool choseAnew =
        microphone && server_->defaultInput != choice->serversInput && isRealInput(server_->defaultInput);
    if (choice->what != SessionRoute::What::Application && !choseAnew && find(*server_, choice->name))
        return choice->name;
    return microphone ? server_->defaultInput : loopbackDevice::uid;
}

bool ProgramAudioServer::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    return store_.hasProperty(object, address);
}

OSStatus ProgramAudioServer::getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                             std::span<const std::byte> qualifier, std::vector<std::byte>& data) {
    // An empty device list would read as a server that has no devices.
    if (object == kAudioObjectSystemObject && address.selector == fourCC("dev#") && !isUp())
        return kAudioHardwareNotRunningError;
    return store_.read(object, address, qualifier, data);
}

OSStatus ProgramAudioServer::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                             std::span<const std::byte> /*qualifier*/,
                                             std::span<const std::byte> data) {
    if (!isUp())
        return kAudioHardwareNotRunningError;
    AudioDeviceRecord device;
    const OSStatus refusal = store_.checkWrite(object, address, data, device);
    if (refusal != kAudioHardwareNoError)
        return refusal;
    if (address.selector == fourCC("dIn ")) {
        setInput(device);
        return kAudioHardwareNoError;
    }
    {
        const std::lock_guard lock(mutex_);
        aggregateIsDefault_ = device.subDevices.has_value();
    }
    refresh();
    return kAudioHardwareNoError;
}

void ProgramAudioServer::setInput(const AudioDeviceRecord& device) {
    SessionRoute::Choice choice;
    if (device.output) {
        choice.what = SessionRoute::What::Output;
        if (device.uid != loopbackDevice::uid && !device.subDevices)
            choice.name = device.uid;
    } else {
        const std::lock_guard lock(mutex_);
        choice.serversInput = server_ ? server_->defaultInput : std::string();
        if (choice.serversInput != device.uid)
            choice.name = device.uid;
    }
    route_->choose(choice);
}

OSStatus ProgramAudioServer::addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                 Listener listener, ListenerToken& token) {
    return store_.addListener(object, address, std::move(listener), token);
}

OSStatus ProgramAudioServer::removePropertyListener(ListenerToken token) { return store_.removeListener(token); }

OSStatus ProgramAudioServer::createAggregateDevice(const QVariantMap& description, AudioObjectID& device) {
    if (!isUp())
        return kAudioHardwareNotRunningError;
    AggregateDescription wanted;
    const OSStatus refusal = AggregateDescription::read(description, store_, wanted);
    if (refusal != kAudioHardwareNoError)
        return refusal;
    {
        const std::lock_guard lock(mutex_);
        if (aggregate_)
            return kAudioHardwareIllegalOperationError; // a session hears one output at a time
        aggregate_ = deviceOfBothSides(wanted.uid, wanted.name);
        aggregate_->transport = fourCC("grup");
        aggregate_->subDevices = wanted.subDevices;
    }
    refresh();
    device = store_.deviceID(wanted.uid);
    return kAudioHardwareNoError;
}

OSStatus ProgramAudioServer::destroyAggregateDevice(AudioObjectID device) {
    if (!isUp())
        return kAudioHardwareNotRunningError;
    if (!store_.hasProperty(device, {fourCC("clas")}))
        return kAudioHardwareBadObjectError;
    const auto record = store_.device(device);
    {
        const std::lock_guard lock(mutex_);
        if (!record || !aggregate_ || aggregate_->uid != record->uid)
            return kAudioHardwareBadDeviceError;
        aggregate_.reset();
        aggregateIsDefault_ = false;
    }
    refresh();
    return kAudioHardwareNoError;
}

} // namespace parlowen
