#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SpeexPreprocessState_;

namespace parlowen::recogniser {

/// Takes steady noise out of one stream (speexdsp). The models, which normalise a piece as a whole, mistake words in
/// white noise 10 dB below the speech that they hear without it; speech without noise stays as it is.
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

} // namespace parlowen::recogniser
