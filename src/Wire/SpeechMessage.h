#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>
#include <vector>

/// Messages of the speech service's WebSocket protocol.
namespace parlowen::wire {

inline constexpr std::size_t maxHeaderBlock = 8192; ///< bytes of all header lines with their line ends
inline constexpr std::size_t maxPayload = 8192;     ///< bytes of a binary message's payload

/// One message. Text: "Name: value" lines ended by CRLF, an empty line, the body. Binary: two bytes, big-endian, with
/// the length of the header block; the header lines, each ended by CRLF; the payload.
struct SpeechMessage {
    std::vector<std::pair<std::string, std::string>> headers; ///< in order; names and values hold no CR, LF or NUL
    std::string body;                                         ///< text: UTF-8 JSON or nothing; binary: any bytes
    bool binary = false;

    /// The value of the first header of that name, whatever its case; empty when there is none.
    std::string_view header(std::string_view name) const;
    /// The header that says what the message is, such as "speech.phrase".
    std::string_view path() const { return header("Path"); }
    /// The header that says which turn the message belongs to.
    std::string_view requestId() const { return header("X-RequestId"); }
};

/// The payload of the WebSocket frame that carries the message: a text frame, or a binary one when `binary` is set.
/// Headers must fit into maxHeaderBlock.
std::string encode(const SpeechMessage& message);

/// A message, or why the bytes are none, in plain English.
using DecodedMessage = tl::expected<SpeechMessage, std::string>;

/// Reads the payload of a text frame.
DecodedMessage decodeText(std::string_view frame);
/// Reads the payload of a binary frame.
DecodedMessage decodeBinary(std::string_view frame);

/// A random identifier: 32 lower-case hexadecimal digits.
std::string guidWithoutDashes();

/// The time now in UTC with milliseconds, such as "2026-11-24T09:30:00.125Z" (ISO 8601).
std::string timestampNow();

/// The 44 bytes of RIFF/WAVE header that open the audio of a turn: integer PCM, both sizes 0 since the end is not
/// known.
std::string waveHeader(std::uint32_t sampleRate = 16000, std::uint16_t channels = 1, std::uint16_t bitsPerSample = 16);

} // namespace parlowen::wire
