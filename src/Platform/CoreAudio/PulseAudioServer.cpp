#include "PulseAudioServer.h"

#include "AudioPropertyData.h"
#include "PulseServerCore.h"

namespace parlowen {

using namespace std::chrono_literals;

namespace {

OSStatus statusOf(int error) {
    switch (error) {
    case PA_OK:
        return kAudioHardwareNoError;
    case PA_ERR_NOENTITY:
        return kAudioHardwareBadDeviceError;
    case PA_ERR_ACCESS:
        return kAudioHardwareIllegalOperationError;
    case PA_ERR_BADSTATE:
    case PA_ERR_CONNECTIONREFUSED:
    case PA_ERR_CONNECTIONTERMINATED:
    case PA_ERR_KILLED:
        return kAudioHardwareNotRunningError;
    default:
        return kAudioHardwareUnspecifiedError;
    }
}

} // namespace

PulseAudioServer::PulseAudioServer(std::string address)
    : core_(std::make_unique<Core>(std::move(address))) {}

PulseAudioServer::~PulseAudioServer() = default;

PulseAudioServer::Traffic PulseAudioServer::traffic() const {
    return {core_->connection.requestCount(), core_->connection.roundCount()};
}

bool PulseAudioServer::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    core_->waitForFirstState();
    return core_->store.hasProperty(object, address);
}

OSStatus PulseAudioServer::getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                           std::span<const std::byte> qualifier, std::vector<std::byte>& data) {
    core_->waitForFirstState();
    // An empty device list would read as a server that has no devices.
    if (object == kAudioObjectSystemObject && address.selector == fourCC("dev#"))
        return core_->readWhileUp(object, address, qualifier, data);
    return core_->store.read(object, address, qualifier, data);
}

OSStatus PulseAudioServer::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                           std::span<const std::byte> /*qualifier*/, std::span<const std::byte> data) {
    if (!core_->waitUntilUp())
        return kAudioHardwareNotRunningError;
    AudioDeviceRecord device;
    const OSStatus refusal = core_->store.checkWrite(object, address, data, device);
    if (refusal != kAudioHardwareNoError)
        return refusal;
    const bool input = address.selector == fourCC("dIn ");
    const auto answer = input ? core_->connection.setDefaultSource(core_->sourceName(device.uid))
                              : core_->connection.setDefaultSink(device.uid);
    if (answer.error != PA_OK)
        return statusOf(answer.error);
    return core_->waitFor([&] {
        std::vector<std::byte> current;
        core_->store.read(object, address, {}, current);
        return std::equal(current.begin(), current.end(), data.begin(), data.end());
    });
}

OSStatus PulseAudioServer::addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                               Listener listener, ListenerToken& token) {
    core_->waitForFirstState();
    return core_->store.addListener(object, address, std::move(listener), token);
}

OSStatus PulseAudioServer::removePropertyListener(ListenerToken token) { return core_->store.removeListener(token); }

OSStatus PulseAudioServer::createAggregateDevice(const QVariantMap& description, AudioObjectID& device) {
    if (!core_->waitUntilUp())
        return kAudioHardwareNotRunningError;
    AggregateDescription wanted;
    const OSStatus refusal = AggregateDescription::read(description, core_->store, wanted);
    if (refusal != kAudioHardwareNoError)
        return refusal;
    const auto answer = core_->connection.loadModule("module-combine-sink", combineArguments(wanted));
    if (answer.error != PA_OK)
        return statusOf(answer.error);
    const OSStatus status = core_->waitFor(
        [&] { return core_->store.device(wanted.uid) && core_->combineModule(wanted.uid) == answer.index; });
    if (status == kAudioHardwareNoError)
        device = core_->store.deviceID(wanted.uid);
    else
        core_->connection.unloadModule(answer.index);
    return status;
}

OSStatus PulseAudioServer::destroyAggregateDevice(AudioObjectID device) {
    if (!core_->waitUntilUp())
        return kAudioHardwareNotRunningError;
    if (!core_->store.hasProperty(device, {fourCC("clas")}))
        return kAudioHardwareBadObjectError;
    const auto record = core_->store.device(device);
    const auto module = record ? core_->combineModule(record->uid) : std::nullopt;
    if (!module)
        return kAudioHardwareBadDeviceError;
    const auto answer = core_->connection.unloadModule(*module);
    if (answer.error != PA_OK)
        return statusOf(answer.error);
    return core_->waitFor([&] { return !core_->store.device(record->uid); });
}

} // namespace parlowen
