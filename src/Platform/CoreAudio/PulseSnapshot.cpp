#include "PulseSnapshot.h"

#include <QString>
#include <QStringList>
#include <algorithm>

namespace parlowen {

namespace {

const PulseEndpoint* find(const std::vector<PulseEndpoint>& endpoints, std::string_view name) {
    const auto found = std::find_if(endpoints.begin(), endpoints.end(),
                                    [&](const PulseEndpoint& endpoint) { return endpoint.name == name; });
    return found == endpoints.end() ? nullptr : &*found;
}

AudioDeviceRecord plainDevice(const PulseEndpoint& endpoint) {
    AudioDeviceRecord device;
    device.uid = endpoint.name;
    device.name = endpoint.description;
    device.transport = endpoint.transport;
    device.sampleRate = endpoint.sampleRate;
    device.running = endpoint.running;
    return device;
}

/// The sinks that a combine module plays into: those that it names, or else all hardware.
std::vector<std::string> combinedSinks(const PulseModule& module, const PulseSnapshot& snapshot) {
    std::vector<std::string> names;
    if (const auto slaves = moduleArgument(module.arguments, "slaves")) {
        for (const QString& name : QString::fromStdString(*slaves).split(u',', Qt::SkipEmptyParts))
            names.push_back(name.trimmed().toStdString());
        return names;
    }
    for (const PulseEndpoint& sink : snapshot.sinks) {
        if (sink.hardware)
            names.push_back(sink.name);
    }
    return names;
}

AudioDeviceRecord sinkDevice(const PulseEndpoint& sink, const PulseSnapshot& snapshot) {
    AudioDeviceRecord device = plainDevice(sink);
    device.output = sink.side;
    if (const PulseEndpoint* monitor = snapshot.source(sink.partner))
        device.input = monitor->side;
    if (const PulseModule* module = snapshot.combineModule(sink.name)) {
        device.transport = fourCC("grup");
        device.subDevices = combinedSinks(*module, snapshot);
    }
    return device;
}

} // namespace

const PulseEndpoint* PulseSnapshot::sink(std::string_view name) const { return find(sinks, name); }

const PulseEndpoint* PulseSnapshot::source(std::string_view name) const { return find(sources, name); }

const PulseModule* PulseSnapshot::combineModule(std::string_view sinkName) const {
    const PulseEndpoint* combined = sink(sinkName);
    const auto found = std::find_if(modules.begin(), modules.end(), [&](const PulseModule& module) {
        return combined && module.index == combined->ownerModule && module.name == "module-combine-sink";
    });
    return found == modules.end() ? nullptr : &*found;
}

AudioDeviceList PulseSnapshot::devices() const {
    AudioDeviceList list;
    for (const PulseEndpoint& sink : sinks)
        list.devices.push_back(sinkDevice(sink, *this));
    for (const PulseEndpoint& source : sources) {
        if (!source.partner.empty())
            continue;
        list.devices.push_back(plainDevice(source));
        list.devices.back().input = source.side;
    }
    list.defaultOutput = defaultSink;
    const PulseEndpoint* input = source(defaultSource);
    list.defaultInput = input && !input->partner.empty() ? input->partner : defaultSource;
    return list;
}

} // namespace parlowen
