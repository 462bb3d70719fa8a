#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SpeexPreprocessState_;

namespace parlowen::recogniser {

/// Takes steady noise out of one stream (speexdsp).
class NoiseReduction {
public:
    static constexpr std::size_t frame = 320; ///< samples

    NoiseReduction();

    /// As many samples come out as went in, in the same places, up to two frames later.
    std::vector<std::int16_t> feed(std::span<const std::int16_t> samples);
    /// Those that are still to come. Nothing may be fed afterwards.
    std::vector<std::int16_t> finish();

private:
    const std::unique_ptr<SpeexPreprocessState_, void (*)(SpeexPreprocessState_*)> state_;
    std::vector<std::int16_t> waiting_; ///< less than a frame
    bool begun_ = false;
};

/// What a model is to hear of a piece of audio, -1 to 1. `reduced` is as long as `captured`, the speech begins at
/// `onset`. The models mistake words in noise 10 dB below the speech that they hear once it is reduced and when more
/// than 0.22 s come before them; where the noise is 20 dB below they mistake others for either, so that they hear
/// neither.
std::vector<float> heardOf(std::span<const std::int16_t> captured, std::span<const std::int16_t> reduced,
                           std::size_t onset);

/// How much silence a model is to hear behind a piece, in samples. It mistakes fewer words when the piece does not
/// break off with the last of them, and of speech that goes on it hears the first one sooner. Behind noise silence is a
/// break of its own.
std::size_t silenceBehind(std::span<const std::int16_t> captured, bool finished);

} // namespace parlowen::recogniser
