#pragma once

#include "Upstream/UpstreamClient.h"

#include <cstdint>
#include <span>

namespace parlowen::service {

/// Where speech is transcribed by the protocol of OpenAI's audio transcriptions, and how.
struct TranscriptionEndpoint {
    std::string url;   ///< before "/audio/transcriptions", such as "http://127.0.0.1:8080/v1"; empty: there is none
    std::string key{}; ///< sent as a bearer token; empty: none
    std::string model{};
    std::vector<std::string> languages{}; ///< locales that it understands
    bool everything = false;              ///< also those that models of this machine understand
    bool partials = true;                 ///< also what is still being said
    int streams = 8;                      ///< at the same time
    std::chrono::milliseconds connect{5'000};
    std::chrono::milliseconds reply{15'000}; ///< for a whole request
};

/// What can go wrong with a transcription.
enum class TranscriptionTrouble {
    None,
    Unreachable, ///< no connection, or none that can be trusted
    BadKey,
    NotFound, ///< no such model, or no such endpoint
    Busy,     ///< too many requests
    Refused,  ///< it does not take this audio
    Failed,   ///< any other status of HTTP
    Cut,
    TooLong,    ///< more than a transcription can be
    Unreadable, ///< no such reply as the protocol has
    Stalled,
};

struct Transcription {
    std::string text{}; ///< without blanks around it; may be empty
    TranscriptionTrouble trouble = TranscriptionTrouble::None;
    std::chrono::seconds pause{0}; ///< that a busy endpoint asks for
};

/// 16 kHz, 16 bit, mono, as a RIFF/WAVE file.
std::string waveFile(std::span<const std::int16_t> samples);

/// A piece of speech as a form of `file`, `model`, `language` (that of the locale, such as "zh") and `response_format`.
UpstreamRequest transcriptionRequest(const TranscriptionEndpoint& endpoint, std::string_view locale,
                                     std::span<const std::int16_t> samples);

inline constexpr std::size_t longestReply = std::size_t{64} * 1024; ///< of more than this, in bytes, nothing is taken

/// `body`: what came of it, as far as it was taken.
Transcription transcriptionOf(const UpstreamEnd& end, const std::string& body);

/// For the log.
std::string_view wordsFor(TranscriptionTrouble trouble);

} // namespace parlowen::service
