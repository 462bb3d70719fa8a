#pragma once

#include <cstdint>
#include <string>

/// The small values that messages of the speech service carry.
namespace parlowen::wire {

/// A random identifier: 32 lower-case hexadecimal digits.
std::string guidWithoutDashes();

/// The time now in UTC with milliseconds, such as "2026-11-24T09:30:00.125Z" (ISO 8601).
std::string timestampNow();

/// The 44 bytes of RIFF/WAVE header that open the audio of a turn: integer PCM, both sizes 0 since the end is not
/// known.
std::string waveHeader(std::uint32_t sampleRate = 16000, std::uint16_t channels = 1, std::uint16_t bitsPerSample = 16);

} // namespace parlowen::wire
