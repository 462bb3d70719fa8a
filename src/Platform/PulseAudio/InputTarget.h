#pragma once

#include "PulseSnapshot.h"
#include "SessionRoute.h"

#include <optional>
#include <string>
#include <vector>

namespace parlowen {

/// What a session records of the audio server. A value.
struct InputTarget {
    std::string source;                        ///< the source's name
    std::uint32_t playback = PA_INVALID_INDEX; ///< of one program: what it plays, alone
    std::string sink;                          ///< the output that is heard; empty for a microphone
    SessionRoute::What kind = SessionRoute::What::Output;
    std::string name; ///< for people
    bool muted = false;
    pa_sample_spec spec{};
    pa_channel_map map{};

    /// Whether both are recorded from the same place.
    bool isSame(const InputTarget& other) const { return source == other.source && playback == other.playback; }
};

/// What is heard with that choice; nothing chosen means a microphone. `instead` is an output to be heard in place of
/// the server's default one; empty for none. None when the server has nothing of the kind. Never a monitor for a
/// microphone.
std::optional<InputTarget> inputTarget(const PulseSnapshot& server, const std::optional<SessionRoute::Choice>& choice,
                                       const std::string& instead = {});

/// The monitor of that output.
std::optional<InputTarget> outputTarget(const PulseSnapshot& server, const PulseEndpoint* sink);

/// The outputs but that one into which a program plays now.
std::vector<const PulseEndpoint*> playedElsewhere(const PulseSnapshot& server, const std::string& sink);

} // namespace parlowen
