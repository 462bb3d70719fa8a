#pragma once

#include "PulseHandles.h"

#include <cstdint>
#include <functional>
#include <pulse/pulseaudio.h>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen {

/// A sink or a source as the server describes it. Strings are UTF-8.
struct PulseEndpoint {
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name;
    std::string description; ///< for people; no two sinks have the same one, and no two sources
    std::string partner;     ///< of a sink: its monitor's name; of a monitor: its sink's name; else empty
    std::string bus;         ///< "pci", "usb", "bluetooth" or empty
    bool hardware = false;
    bool plugged = true; ///< false when its port says that nothing is plugged in
    bool mute = false;
    float volume = 1; ///< 1 is the nominal volume
    bool running = false;
    pa_sample_spec spec{};
    pa_channel_map map{};

    /// Of a source: whether it gives what a sink plays.
    bool isMonitor() const { return !partner.empty(); }
};

/// What a program plays.
struct PulsePlayback {
    std::uint32_t index = PA_INVALID_INDEX;
    std::uint32_t sink = PA_INVALID_INDEX;
    std::string application; ///< the program's name for people
    std::string binary;      ///< its file's name
    bool sounding = false;   ///< neither paused nor muted
};

/// The server's state as one round of requests gives it.
struct PulseSnapshot {
    std::string defaultSink, defaultSource;
    std::vector<PulseEndpoint> sinks, sources;
    std::vector<PulsePlayback> playbacks;

    /// The endpoint of that name or number; null when there is none.
    const PulseEndpoint* sink(std::string_view name) const;
    const PulseEndpoint* sink(std::uint32_t index) const;
    const PulseEndpoint* source(std::string_view name) const;

    // A UID tells all devices apart: a sink's is its name, and so is that of a source that is no monitor, with ":input"
    // behind it where a sink has the same name.
    std::string inputUID(std::string_view sourceName) const;
    /// The source with that UID that is no monitor; null when there is none.
    const PulseEndpoint* input(std::string_view uid) const;
};

/// Numbers the descriptions of those that have the same one, " (1)" and so on in their order.
void tellApart(std::vector<PulseEndpoint>& endpoints);

/// Orders inputs by how fit they are for a microphone session; the lowest is taken, the first of several. The user's
/// own choice comes first, then what is plugged in, then what is called a microphone. Only for inputs that are no
/// monitors.
int microphoneRank(bool isServersDefault, bool plugged, std::string_view description);

/// Reads the server's whole state: a handful of requests that are sent together, without waiting in between. Lives on
/// the main loop's thread or under its lock.
class PulseRound {
public:
    /// `done` is called once, on the main loop's thread, when the last answer is in; it may drop the round. A round
    /// that is dropped before, or whose context fails, never calls it.
    PulseRound(pa_context* context, std::function<void(PulseSnapshot)> done);
    PulseRound(const PulseRound&) = delete;
    PulseRound& operator=(const PulseRound&) = delete;

    std::size_t requestCount() const { return operations_.size(); }

private:
    static void onServer(pa_context* context, const pa_server_info* info, void* round);
    template<class Info>
    static void onItem(pa_context* context, const Info* info, int end, void* round);
    void answered();

    PulseSnapshot snapshot_;
    std::function<void(PulseSnapshot)> done_;
    std::size_t outstanding_ = 0;
    std::vector<PulseOperation> operations_;
};

} // namespace parlowen
