#include "PulseAudioServer.h"

#include <PulseAudio/PulseClient.h>

#include <utility>

namespace parlowen {

namespace {

FourCharCode transportOf(const PulseEndpoint& endpoint) {
    if (endpoint.bus == "usb")
        return fourCC("usb ");
    if (endpoint.bus == "pci")
        return fourCC("pci ");
    if (endpoint.bus == "bluetooth")
        return fourCC("blue");
    return endpoint.hardware ? 0 : fourCC("virt");
}

AudioDeviceRecord plainDevice(const PulseEndpoint& endpoint) {
    AudioDeviceRecord device;
    device.uid = endpoint.name;
    device.name = endpoint.description;
    device.transport = transportOf(endpoint);
    device.sampleRate = endpoint.spec.rate;
    device.running = endpoint.running;
    device.plugged = endpoint.plugged;
    return device;
}

AudioDeviceRecord::Side sideOf(const PulseEndpoint& endpoint) { return {endpoint.volume, endpoint.mute}; }

AudioDeviceList devicesOf(const PulseSnapshot& snapshot) {
    AudioDeviceList list;
    for (const PulseEndpoint& sink : snapshot.sinks) {
        AudioDeviceRecord& device = list.devices.emplace_back(plainDevice(sink));
        device.output = sideOf(sink);
        if (const PulseEndpoint* monitor = snapshot.source(sink.partner))
            device.input = sideOf(*monitor);
    }
    for (const PulseEndpoint& source : snapshot.sources) {
        if (source.isMonitor())
            continue;
        AudioDeviceRecord& device = list.devices.emplace_back(plainDevice(source));
        device.uid = snapshot.inputUID(source.name);
        device.input = sideOf(source);
    }
    list.defaultOutput = snapshot.defaultSink;
    const PulseEndpoint* input = snapshot.source(snapshot.defaultSource);
    list.defaultInput = input && input->isMonitor() ? input->partner : snapshot.inputUID(snapshot.defaultSource);
    return list;
}

} // namespace

PulseAudioServer::PulseAudioServer(std::shared_ptr<PulseClient> client)
    : ProgramAudioServer(client->route())
    , client_(std::move(client)) {
    const auto take = [this](const PulseClient::StatePtr& state) {
        const bool up = state->phase == PulseClient::Phase::Up;
        setServerDevices(up ? std::optional(devicesOf(state->snapshot)) : std::nullopt);
    };
    const PulseClient::Lock lock(*client_);
    watch_ = client_->watch(take);
    take(client_->state());
}

PulseAudioServer::~PulseAudioServer() = default;

} // namespace parlowen
