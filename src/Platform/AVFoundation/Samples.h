#pragma once

#include "AVAudioPCMBuffer.h"

#include <cstddef>

namespace parlowen {

/// Writes the average of the buffer's channels, full scale 1.0, one float a frame. Samples that are no numbers become
/// 0, and far too loud ones are bounded.
void downmix(const AVAudioPCMBuffer& buffer, float* mono);

/// Rounds samples of full scale 1.0 to 16 bits; what is too loud is clipped.
void quantize(const float* samples, std::size_t count, std::int16_t* out);

} // namespace parlowen
