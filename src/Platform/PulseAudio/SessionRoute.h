#pragma once

#include "PulseSnapshot.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace parlowen {

/// What this program's sessions are to hear: a note in the process, which changes nothing in the audio server. Any
/// thread.
class SessionRoute {
public:
    enum class What : std::uint8_t {
        Microphone,  ///< `name` is the input's UID; empty: the server's default input, or the fittest microphone
        Output,      ///< what is played; `name` is the output's UID, empty: the server's default one
        Application, ///< what one program plays, known by its name
    };
    struct Choice {
        What what = What::Microphone;
        std::string name = {}; ///< UTF-8
        /// With a name: the UID of what was the server's default input, or output, at the time. Once that is another
        /// one (a real input, or any output), the user has chosen anew, and `name` no longer counts.
        std::string serversDefault = {};
        bool operator==(const Choice&) const = default;
    };

    /// None until something was chosen.
    std::optional<Choice> choice() const;
    void choose(const Choice& choice);

    /// Called after each change, on the thread that makes it.
    using Observer = std::function<void()>;
    /// Ends with what it returns; after that no call comes or runs, but one on the very thread.
    [[nodiscard]] std::shared_ptr<void> watch(Observer observer);

private:
    struct Observers {
        std::recursive_mutex mutex; ///< held during the calls
        std::map<int, Observer> list;
        int next = 0;
    };

    mutable std::mutex mutex_;
    std::optional<Choice> choice_; ///< mutex_
    const std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
};

/// What a session records of the audio server. A value.
struct InputTarget {
    std::string source;                        ///< the source's name
    std::uint32_t playback = PA_INVALID_INDEX; ///< of one program: what it plays, alone
    std::string sink;                          ///< the output that is heard; empty for a microphone
    SessionRoute::What kind = SessionRoute::What::Output;
    std::string name; ///< for people
    bool muted = false;
    bool paused = false; ///< of one program: it does not play at the moment
    pa_sample_spec spec{};
    pa_channel_map map{};

    /// Whether both are recorded from the same place.
    bool isSame(const InputTarget& other) const { return source == other.source && playback == other.playback; }
};

/// What is heard with that choice; nothing chosen means a microphone. `instead` is an output to be heard in place of
/// the server's default one; empty for none. `present` is what is heard of one program so far. None when the server has
/// nothing of the kind. Never a monitor for a microphone.
std::optional<InputTarget> inputTarget(const PulseSnapshot& server, const std::optional<SessionRoute::Choice>& choice,
                                       const std::string& instead = {}, std::uint32_t present = PA_INVALID_INDEX);

/// The output that was chosen for the sessions, while that counts and it is there; empty for none, and for every other
/// kind of choice.
std::string chosenOutput(const PulseSnapshot& server, const SessionRoute::Choice& choice);

/// The monitor of that output; none where there is no such output.
std::optional<InputTarget> outputTarget(const PulseSnapshot& server, const PulseEndpoint* sink);

/// The outputs but that one into which a program plays now.
std::vector<const PulseEndpoint*> playedElsewhere(const PulseSnapshot& server, const std::string& sink);

/// What a recording of an output does about a call that may play into another one. A value, decided anew at each tick.
struct OutputTurn {
    /// What is known of the output that the scout listens to.
    struct Scouted {
        std::string sink;   ///< empty: it listens to none
        double sound = 0;   ///< seconds of sound so far
        double silence = 0; ///< seconds of silence since the last of it
    };

    std::string watch;   ///< the output to listen to beside the one that is heard; empty: none
    bool offers = false; ///< the user is offered to listen there
    bool turns = false;  ///< the session turns there
    bool isOver = false; ///< what was turned to plays no more, or there is nothing to go back to

    /// While an output is heard that nothing was turned from: after two seconds of `quiet` there, others into which
    /// programs play are listened to in turn, three seconds each while they are silent. One that sounds is offered, and
    /// with a second of sound, after five seconds of quiet, turned to, unless the user has chosen what is heard.
    static OutputTurn away(const PulseSnapshot& server, const std::string& heard, bool isChosen,
                           std::chrono::microseconds quiet, const Scouted& scouted);
    /// While another output is heard in place of the default one: back to that as soon as it sounds, for a fifth of a
    /// second, or when nothing plays into the other one any more.
    static OutputTurn back(const PulseSnapshot& server, const std::string& heard, const Scouted& scouted);
};

} // namespace parlowen
