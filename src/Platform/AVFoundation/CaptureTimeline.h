#pragma once

#include "ChunkBuilder.h"

#include <chrono>
#include <optional>

namespace parlowen {

/// Captured sound as a timeline without holes: silence stands in for what was missed, so that a moment of the sound
/// stays a moment of the clock. While sound is missing the silence comes as time passes, a little late, and once sound
/// is back the rest of it. A value that is told the time, on a clock that only goes forward. One thread.
class CaptureTimeline {
public:
    using Time = std::chrono::microseconds;

    /// The silence stays behind the clock by this, for sound that is there but not delivered yet.
    static constexpr Time lag = std::chrono::milliseconds(100);
    /// A source that is open and gives nothing is not taken for silent before: servers keep up to 2 s of sound.
    static constexpr Time stall = std::chrono::seconds(5);

    CaptureTimeline(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink);

    /// That many frames are at hand, to be appended next, and end now. After an interruption returns the seconds of
    /// silence put in for what was missed before them, which may be 0.
    std::optional<double> arrive(std::size_t frames, Time now);
    /// Adds frames, silent ones when `samples` is null.
    void append(const float* samples, std::size_t frames) { chunks_.append(samples, frames); }

    /// How many frames the next buffer still needs.
    std::size_t framesMissing() const { return chunks_.framesMissing(); }

    /// What comes next does not follow the sound before.
    void interrupt() { interrupted_ = started_; }
    bool isInterrupted() const { return interrupted_; }
    /// Puts in the silence that is due by now, if sound is missing.
    void fill(Time now);

private:
    std::size_t framesIn(Time time) const;
    void fillUpTo(Time time);

    const double rate_;
    ChunkBuilder chunks_;
    bool started_ = false; ///< before the first sound nothing is missing
    bool interrupted_ = false;
    Time covered_{0}; ///< up to here there is sound, or silence in its place
    double filled_ = 0;
};

} // namespace parlowen
