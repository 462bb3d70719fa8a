#pragma once

#include "AVAudioPCMBuffer.h"

#include <PulseAudio/PulseHandles.h>
#include <PulseAudio/SessionRoute.h>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace parlowen {

/// How a session's sound is asked for: 32-bit floats, interleaved, in one rate and channel map for the whole session.
struct InputShape {
    pa_sample_spec spec{};
    pa_channel_map map{};

    /// The target's own shape within 16 to 192 kHz and 8 channels; beyond these the server converts. It lasts for the
    /// session, which may go on with something better than the telephone's 8 kHz. 48 kHz stereo
    /// without a target.
    static InputShape of(const std::optional<InputTarget>& target);
    AVAudioFormat format() const;
};

/// One recording stream, for as long as it lives. All of it under the client's lock.
class PulseInputStream {
public:
    /// Called on the client's thread; neither may destroy the stream.
    struct Hooks {
        std::function<void()> readable;
        std::function<void()> changed; ///< it is ready, or no longer good
    };

    /// The server sends about that many frames at a time. The stream stays with its source and never follows one to
    /// another: it fails instead.
    PulseInputStream(pa_context* context, InputTarget target, const InputShape& shape, std::uint32_t framesPerPiece,
                     Hooks hooks);
    PulseInputStream(const PulseInputStream&) = delete;
    PulseInputStream& operator=(const PulseInputStream&) = delete;

    const InputTarget& target() const { return target_; }
    void setHooks(Hooks hooks) { hooks_ = std::move(hooks); }

    bool isReady() const;
    bool isGood() const;
    /// Whether the server has put the source to sleep, so that no sound comes.
    bool isAsleep() const;

    /// How many frames are at hand.
    std::size_t readable() const;
    /// Hands out that many of them: interleaved samples, or null for a hole.
    void read(std::size_t frames, const std::function<void(const float* samples, std::size_t frames)>& take);

private:
    void connect(const InputShape& shape, std::uint32_t framesPerPiece);

    const InputTarget target_;
    const std::size_t frameSize_;
    Hooks hooks_;
    PulseStreamHandle stream_;
};

} // namespace parlowen
