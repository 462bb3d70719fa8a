#include "Transcription.h"

#include "Http/HttpMessage.h"
#include "Speech/Engine.h"

#include <array>
#include <bit>
#include <cstring>

namespace parlowen::service {

namespace {

using Trouble = TranscriptionTrouble;

/// The little-endian bytes of a number.
std::string bytesOf(std::uint32_t number, int count) {
    std::string bytes;
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(number >> 8 * i & 0xff);
    return bytes;
}

Trouble troubleOfStatus(long status) {
    switch (status) {
    case 400:
    case 413:
    case 415:
    case 422:
        return Trouble::Refused;
    case 401:
    case 403:
        return Trouble::BadKey;
    case 404:
        return Trouble::NotFound;
    case 429:
        return Trouble::Busy;
    default:
        return Trouble::Failed;
    }
}

std::string withoutBlanksAround(const std::string& text) {
    constexpr const char* blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

} // namespace

std::string waveFile(std::span<const std::int16_t> samples) {
    static_assert(std::endian::native == std::endian::little);
    const auto bytes = static_cast<std::uint32_t>(samples.size_bytes());
    std::string file = "RIFF" + bytesOf(36 + bytes, 4) + "WAVEfmt " + bytesOf(16, 4) + bytesOf(1, 2) + bytesOf(1, 2) +
                       bytesOf(sampleRate, 4) + bytesOf(2 * sampleRate, 4) + bytesOf(2, 2) + bytesOf(16, 2) + "data" +
                       bytesOf(bytes, 4);
    file.append(reinterpret_cast<const char*>(samples.data()), samples.size_bytes());
    return file;
}

UpstreamRequest transcriptionRequest(const TranscriptionEndpoint& endpoint, std::string_view locale,
                                     std::span<const std::int16_t> samples) {
    return {.url = endpoint.url + "/audio/transcriptions",
            .headers = {"Accept: application/json"},
            .bearer = endpoint.key,
            .form = {{"file", waveFile(samples), "speech.wav", "audio/wav"},
                     {"model", endpoint.model},
                     {"language", primarySubtag(locale)},
                     {"response_format", "json"}},
            .connect = endpoint.connect,
            .whole = endpoint.reply};
}

Transcription transcriptionOf(const UpstreamEnd& end, const std::string& body) {
    if (end.isLate)
        return {.trouble = Trouble::Stalled};
    if (end.status == 0)
        return {.trouble = Trouble::Unreachable};
    if (end.status != 200)
        return {.trouble = troubleOfStatus(end.status), .pause = end.pause};
    if (body.size() > longestReply)
        return {.trouble = Trouble::TooLong};
    if (!end.isWhole)
        return {.trouble = Trouble::Cut};
    const auto reply = jsonObject(body);
    const auto text = reply ? reply->find("text") : nlohmann::json::const_iterator();
    if (!reply || text == reply->end() || !text->is_string())
        return {.trouble = Trouble::Unreadable};
    return {.text = withoutBlanksAround(text->get_ref<const std::string&>())};
}

std::string_view wordsFor(TranscriptionTrouble trouble) {
    constexpr std::array words = {"nothing is wrong",
                                  "it cannot be reached",
                                  "it does not accept the configured key",
                                  "it knows no such model, or is not there",
                                  "it has too many requests",
                                  "it does not take the audio",
                                  "it reports an error",
                                  "its reply broke off",
                                  "its reply has no end",
                                  "its reply cannot be read",
                                  "it did not reply in time"};
    return words.at(static_cast<std::size_t>(trouble));
}

} // namespace parlowen::service
