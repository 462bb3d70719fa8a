#pragma once

#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace parlowen {

/// What a capture listens to: what an output plays, a microphone, or what one program plays.
enum class InputKind : std::uint8_t { SystemSound, Microphone, Application };

/// How it stands with the input of a capture. A value.
struct InputStatus {
    enum class State : std::uint8_t {
        Opening,    ///< nothing was recorded yet
        Listening,  ///< sound is recorded, silent or not
        InputLost,  ///< what was heard is gone, and the next input is being looked for
        NoInput,    ///< there is nothing to record from
        ServerLost, ///< the audio server is away
        Refused,    ///< the audio server does not let the program record
        Ended,      ///< the recording that was heard is over
    };

    State state = State::Opening;
    InputKind kind = InputKind::SystemSound;
    QString name;            ///< of what is heard, for people; when nothing is, of what was heard last
    int quietSeconds = 0;    ///< whole seconds for which the input has given no sound; 0 while there is some
    bool heardSound = false; ///< whether there has been any sound since the start
    bool muted = false;      ///< the device that is heard is muted
    bool clipping = false;   ///< too loud, and distorted by it
    QString elsewhereUID;    ///< while it is quiet: an output that another program plays into; empty for none
    QString elsewhereName;   ///< that output's name, for people
    QString problem;         ///< the server's own words (English) with ServerLost and Refused

    bool operator==(const InputStatus&) const = default;
};

/// The level of captured sound, from the thread that captures to one that shows it.
class InputMeter {
public:
    /// Takes note of a peak, 0 to 1 (full scale).
    void note(float peak) {
        float highest = peak_.load(std::memory_order_relaxed);
        while (peak > highest && !peak_.compare_exchange_weak(highest, peak, std::memory_order_relaxed)) {
        }
    }
    /// The highest peak since the last call.
    float take() { return peak_.exchange(0, std::memory_order_relaxed); }

private:
    std::atomic<float> peak_ = 0;
};

/// Told how it stands with the input of a capture, on a thread of the capture, which waits for it. All optional.
struct InputObserver {
    std::function<void(const InputStatus&)> changed;
    std::function<void(double seconds)> missed; ///< so much was not captured; less than a second is not told
    std::shared_ptr<InputMeter> meter;
};

} // namespace parlowen
