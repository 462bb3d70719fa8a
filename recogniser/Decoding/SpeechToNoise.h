#pragma once

#include <cstdint>
#include <span>

namespace parlowen::recogniser {

/// How far the noise of a piece of speech lies below it, in dB: the mean power of the frames of 20 ms within 30 dB of
/// the loudest, over that of the quietest tenth. Infinite for less than a frame.
double speechToNoise(std::span<const std::int16_t> samples);

} // namespace parlowen::recogniser
