#include "ProgramAudioServer.h"

#include <PulseAudio/PulseSnapshot.h>
#include <PulseAudio/SessionRoute.h>

#include <QRegularExpression>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

/// The names that audio servers accept for a sink.
bool isName(const QString& uid) {
    static const QRegularExpression pattern(
        QRegularExpression::anchoredPattern(QStringLiteral("[A-Za-z0-9._-]{1,127}")));
    return pattern.match(uid).hasMatch();
}

OSStatus readSubDevices(const QVariantList& list, const AudioObjectStore& store, std::vector<std::string>& uids) {
    for (const QVariant& entry : list) {
        const std::string uid = entry.toMap().value(QStringLiteral("uid")).toString().toStdString();
        const auto device = store.device(uid);
        if (!device || !device->output || device->subDevices)
            return kAudioHardwareBadDeviceError;
        if (std::find(uids.begin(), uids.end(), uid) != uids.end())
            return kAudioHardwareIllegalOperationError;
        uids.push_back(uid);
    }
    return uids.empty() ? kAudioHardwareIllegalOperationError : kAudioHardwareNoError;
}

/// An aggregate device that is to be made.
struct AggregateDescription {
    std::string uid, name;
    std::vector<std::string> subDevices; // UIDs of devices with output, in order
};

/// Reads and checks a description as AudioServer::createAggregateDevice() takes it, and returns that call's status.
OSStatus readDescription(const QVariantMap& map, const AudioObjectStore& store, AggregateDescription& description) {
    const QString uid = map.value(QStringLiteral("uid")).toString();
    const QString name = map.value(QStringLiteral("name")).toString();
    if (!isName(uid) || name.isEmpty() || store.device(uid.toStdString()))
        return kAudioHardwareIllegalOperationError;
    if (map.value(QStringLiteral("stacked")).toInt() != 1)
        return kAudioHardwareUnsupportedOperationError;
    AggregateDescription result{uid.toStdString(), name.toStdString(), {}};
    const OSStatus status = readSubDevices(map.value(QStringLiteral("subdevices")).toList(), store, result.subDevices);
    if (status == kAudioHardwareNoError)
        description = std::move(result);
    return status;
}

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
        list.devices.push_back(aggregateNow());
    list.usersInput = server_->defaultInput;
    list.defaultInput = sessionInput();
    if (aggregate_ && aggregateIsDefault_)
        list.defaultOutput = aggregate_->uid;
    return list;
}

/// The device that was chosen for the sessions, while that counts; empty for none.
std::string ProgramAudioServer::chosenDevice() const {
    const SessionRoute::Choice choice = route_->choice().value_or(SessionRoute::Choice());
    if (choice.what == SessionRoute::What::Application || !find(*server_, choice.name))
        return {};
    const bool choseAnew = choice.what == SessionRoute::What::Microphone
                               ? server_->defaultInput != choice.serversDefault && isRealInput(server_->defaultInput)
                               : !choice.serversDefault.empty() && server_->defaultOutput != choice.serversDefault;
    return choseAnew ? std::string() : choice.name;
}

std::string ProgramAudioServer::sessionInput() const {
    const auto choice = route_->choice();
    if (!choice)
        return server_->defaultInput;
    if (std::string chosen = chosenDevice(); !chosen.empty())
        return chosen;
    return choice->what == SessionRoute::What::Microphone ? fittestMicrophone() : loopbackDevice::uid;
}

/// The note as it stands: the default output that it was made with gives way to the output that is heard by now.
AudioDeviceRecord ProgramAudioServer::aggregateNow() const {
    AudioDeviceRecord device = *aggregate_;
    const auto choice = route_->choice();
    const bool output = choice && choice->what == SessionRoute::What::Output;
    std::string heard = output ? chosenDevice() : std::string();
    heard = heard.empty() ? server_->defaultOutput : heard;
    if (!heard.empty() && std::ranges::count(*device.subDevices, heard) == 0)
        std::ranges::replace(*device.subDevices, defaultInAggregate_, heard);
    return device;
}

std::string ProgramAudioServer::fittestMicrophone() const {
    const AudioDeviceRecord* fittest = nullptr;
    const auto rank = [this](const AudioDeviceRecord& device) {
        return microphoneRank(device.uid == server_->defaultInput, device.plugged, device.name);
    };
    for (const AudioDeviceRecord& device : server_->devices) {
        if (device.input && !device.output && (!fittest || rank(device) < rank(*fittest)))
            fittest = &device;
    }
    return fittest ? fittest->uid : std::string();
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
    if (address.selector == fourCC("dOut")) {
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
        if (device.uid != loopbackDevice::uid && !device.subDevices) {
            const std::lock_guard lock(mutex_);
            choice.name = device.uid;
            choice.serversDefault = server_ ? server_->defaultOutput : std::string();
        }
    } else {
        const std::lock_guard lock(mutex_);
        choice.serversDefault = server_ ? server_->defaultInput : std::string();
        if (choice.serversDefault != device.uid)
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
    const OSStatus refusal = readDescription(description, store_, wanted);
    if (refusal != kAudioHardwareNoError)
        return refusal;
    {
        const std::lock_guard lock(mutex_);
        if (aggregate_)
            return kAudioHardwareIllegalOperationError; // a session hears one output at a time
        aggregate_ = deviceOfBothSides(wanted.uid, wanted.name);
        aggregate_->transport = fourCC("grup");
        aggregate_->subDevices = wanted.subDevices;
        defaultInAggregate_ = server_ ? server_->defaultOutput : std::string();
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
