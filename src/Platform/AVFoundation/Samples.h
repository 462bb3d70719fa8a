#pragma once

#include "AVAudioPCMBuffer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace parlowen {

/// Writes the average of the buffer's channels, full scale 1.0, one float a frame. Samples that are no numbers become
/// 0, and far too loud ones are bounded.
void downmix(const AVAudioPCMBuffer& buffer, float* mono);

/// Rounds samples of full scale 1.0 to 16 bits; what is too loud is clipped.
void quantize(const float* samples, std::size_t count, std::int16_t* out);

/// Stretches or squeezes successive pieces of a mono stream to lengths of the caller's choice, by interpolation of
/// fifth order. A piece's end is exactly the next one's beginning, so a seam leaves no trace; a piece that keeps its
/// length is only copied. Delays the stream by `delay` samples. Meant for small changes: it does not filter.
class Stretcher {
public:
    static constexpr std::size_t delay = 3;

    Stretcher();

    /// Room for that many further samples of the piece, to be filled at once.
    float* append(std::size_t samples);

    /// Ends the piece and writes it as `samples` samples. With 0 nothing is written and the piece goes on.
    void fit(float* out, std::size_t samples);

    /// Ends the piece and writes nothing.
    void skip();

private:
    std::vector<float> samples_; ///< what the piece needs of the one before, then the piece
};

} // namespace parlowen
