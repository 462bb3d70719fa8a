#pragma once

#include "CaptureSource.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace parlowen {

/// Cuts a stream of interleaved float frames, which come in pieces of any size, into buffers of one size. One thread.
class ChunkBuilder {
public:
    ChunkBuilder(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink);

    /// Adds frames, silent ones when `samples` is null, and hands each full buffer to the sink. Frames for which there
    /// is no memory are dropped.
    void append(const float* samples, std::size_t frames);
    /// How many frames the next buffer still needs: from 1 to the size of a buffer.
    std::size_t framesMissing() const { return framesPerBuffer_ - (buffer_ ? buffer_->frameLength() : 0); }

private:
    std::size_t fill(const float* samples, std::size_t frames);

    const AVAudioFormat format_;
    const std::uint32_t framesPerBuffer_;
    const CaptureSource::Sink sink_;
    std::shared_ptr<AVAudioPCMBuffer> buffer_; ///< silent beyond its frame length
};

/// Captured sound as a timeline: silence stands in for the first two seconds of what was missed, so that a sentence
/// ends and the moments of short interruptions stay; the rest is left out. While sound is missing the silence comes as
/// time passes, a little late. A value that is told the time, on a clock that only goes forward. One thread.
class CaptureTimeline {
public:
    using Time = std::chrono::microseconds;

    /// The silence stays behind the clock by this, for sound that is there but not delivered yet.
    static constexpr Time lag = std::chrono::milliseconds(100);
    /// A source that is open and gives nothing is not taken for silent before: servers keep up to 2 s of sound.
    static constexpr Time stall = std::chrono::seconds(5);
    /// The most silence for one gap.
    static constexpr Time mostSilence = std::chrono::seconds(2);

    CaptureTimeline(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink);

    /// What was missed before sound that has arrived, in seconds.
    struct Gap {
        double missed = 0;
        double filled = 0; ///< so much silence stands in for it
    };

    /// A source is open from now on. What it gives first may be late: an output that nobody plays into may have been
    /// silent two seconds in advance. Returns the gap before it, if sound was interrupted.
    std::optional<Gap> open(Time now);
    /// That many frames are at hand, to be appended next, and end now. Returns the gap before them, if sound was
    /// interrupted or they are much fewer than the time that has passed.
    std::optional<Gap> arrive(std::size_t frames, Time now);
    /// Adds frames, silent ones when `samples` is null.
    void append(const float* samples, std::size_t frames) { chunks_.append(samples, frames); }

    /// How many frames the next buffer still needs.
    std::size_t framesMissing() const { return chunks_.framesMissing(); }

    /// What comes next does not follow the sound before.
    void interrupt() { interrupted_ = started_; }
    bool isInterrupted() const { return interrupted_; }
    /// Puts in the silence that is due by now, if sound is missing.
    void fill(Time now);
    /// The source gives nothing, and rightly so: silence stands for it, as in a gap, but nothing is missed up to now.
    void rest(Time now);

private:
    std::optional<Gap> endGap(Time begin, Time now, bool ends);
    void fillUpTo(Time time);

    const double rate_;
    ChunkBuilder chunks_;
    bool started_ = false; ///< before the first sound nothing is missing
    bool interrupted_ = false;
    bool fresh_ = false; ///< nothing has come yet since the source was opened
    Time covered_{0}; ///< up to here the timeline goes: there is sound, silence, or nothing where too much is missing
    Time missed_{0};  ///< of this gap, so far
    Time filled_{0};  ///< of that, with silence
};

} // namespace parlowen
