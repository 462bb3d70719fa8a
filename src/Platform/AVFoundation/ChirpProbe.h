#pragma once

#include <QString>
#include <span>
#include <vector>

namespace parlowen {

/// What came of a short sound that was played into the default output while the monitor of that was recorded.
struct ChirpResult {
    QString problem;      ///< why nothing could be measured, in English; empty when it was
    bool arrived = false; ///< whether the sound is in the recording
    double gainDb = 0;    ///< its level there against the level it was played at; only when it arrived
    double delayMs = 0;   ///< from the moment its first sample was handed over to that sample's arrival; likewise
};

/// Plays the chirp (a quarter of a second, 500 to 4000 Hz, peaks at -12 dB of full scale) and listens for it for a
/// second more. Takes about two seconds, and ten at most. Any thread.
ChirpResult playAndListenForChirp();

/// The chirp, mono, 16 kHz.
std::vector<float> makeChirp();

/// Where a sound lies in a recording of the same rate.
struct Match {
    std::size_t position = 0; ///< its first sample in the recording
    double likeness = 0;      ///< 0 to 1: 1 is the very sound, at whatever level
    double gain = 0;          ///< amplitude against the sound's own
};

/// The best match; a likeness of 0 when there is none, as in silence or a recording shorter than the sound.
Match findSound(std::span<const float> sound, std::span<const float> recording);

} // namespace parlowen
