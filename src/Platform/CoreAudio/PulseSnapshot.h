#pragma once

#include "AggregateDescription.h"
#include "AudioDeviceRecord.h"

#include <string_view>

namespace parlowen {

/// A sink or a source as the server describes it.
struct PulseEndpoint {
    std::string name, description;
    std::string partner; ///< of a sink: its monitor's name; of a monitor: its sink's name; else empty
    std::uint32_t ownerModule = 0xFFFFFFFF;
    bool hardware = false;
    AudioDeviceRecord::Side side;
    double sampleRate = 0; ///< Hz
    bool running = false;
    FourCharCode transport = 0;
};

struct PulseModule {
    std::uint32_t index = 0xFFFFFFFF;
    std::string name, arguments;
};

/// The server's state as one round of requests gives it.
struct PulseSnapshot {
    std::string defaultSink, defaultSource;
    std::vector<PulseEndpoint> sinks, sources;
    std::vector<PulseModule> modules;

    const PulseEndpoint* sink(std::string_view name) const;
    const PulseEndpoint* source(std::string_view name) const;
    /// The combine module behind the sink of that name.
    const PulseModule* combineModule(std::string_view sinkName) const;

    /// Sinks first, then the sources that are no monitors.
    AudioDeviceList devices() const;
};

/// The value of a module's argument: key=value, key='value' or key="value", divided by blanks; a backslash takes the
/// next character as it stands.
std::optional<std::string> moduleArgument(std::string_view arguments, std::string_view key);

/// The arguments of module-combine-sink, in a form that PulseAudio and PipeWire read alike. Neither reads the other's
/// way of escaping a quotation mark or a backslash, so those of the name are replaced by look-alikes.
std::string combineArguments(const AggregateDescription& description);

} // namespace parlowen
