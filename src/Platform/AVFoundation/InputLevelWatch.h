#pragma once

#include "AVAudioPCMBuffer.h"

#include <cstdint>

namespace parlowen {

/// Tells whether an input gives sound at all. A value: it is fed what was captured, in order, and looks at its peaks.
class InputLevelWatch {
public:
    enum class State { Sound, Silent, Clipping };

    /// Peaks below it (full scale 1.0; -66 dB) are silence: what a muted or an unused input gives.
    static constexpr float nearSilence = 0.0005F;
    /// Seconds of silence after which it is worth a word: before the first sound, and later, when people think.
    static constexpr double patienceAtStart = 10;
    static constexpr double patienceLater = 30;

    /// Returns the state after a buffer of float sound. Clipping: a hundredth of its samples or more are at full scale.
    State feed(const AVAudioPCMBuffer& buffer);

    /// How long the sound fed last has been silent; 0 while there is sound.
    double silentSeconds() const { return silentSeconds_; }
    /// Whether that is longer than the patience.
    bool isSilentTooLong() const { return silentSeconds_ >= (heardSound_ ? patienceLater : patienceAtStart); }

private:
    bool heardSound_ = false;
    double silentSeconds_ = 0;
};

} // namespace parlowen
