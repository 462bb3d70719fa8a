#include "SpeechMessage.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <random>

namespace parlowen::wire {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::size_t prefixLength = 2;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool sameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

tl::unexpected<std::string> refuse(const char* why) { return tl::make_unexpected(std::string(why)); }

/// Why the line is no header, or null.
const char* addHeader(std::string_view line, SpeechMessage& message) {
    constexpr std::string_view forbidden("\r\n\0", 3);
    if (line.find_first_of(forbidden) != std::string_view::npos)
        return "a header line holds a stray control character";
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos)
        return "a header line has no colon";
    const std::string_view name = trimmed(line.substr(0, colon));
    if (name.empty())
        return "a header has no name";
    message.headers.emplace_back(name, trimmed(line.substr(colon + 1)));
    return nullptr;
}

/// Reads lines up to the end of the block; the last line end may be missing, empty lines at the end are let pass.
const char* addHeaders(std::string_view block, SpeechMessage& message) {
    while (!block.empty()) {
        const std::size_t end = std::min(block.find(lineEnd), block.size());
        const std::string_view line = block.substr(0, end);
        block.remove_prefix(std::min(end + lineEnd.size(), block.size()));
        if (line.empty() && block.empty())
            break;
        if (const char* problem = addHeader(line, message))
            return problem;
    }
    return message.headers.empty() ? "there are no headers" : nullptr;
}

void appendLittleEndian(std::string& bytes, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<char>(value >> static_cast<unsigned>(8 * i) & 0xFFU));
}

} // namespace

std::string_view SpeechMessage::header(std::string_view name) const {
    const auto found =
        std::find_if(headers.begin(), headers.end(), [&](const auto& h) { return sameName(h.first, name); });
    return found == headers.end() ? std::string_view() : std::string_view(found->second);
}

std::string encode(const SpeechMessage& message) {
    std::string frame(message.binary ? prefixLength : 0, '\0');
    for (const auto& [name, value] : message.headers)
        frame.append(name).append(": ").append(value).append(lineEnd);
    if (message.binary) {
        const std::size_t length = frame.size() - prefixLength;
        frame[0] = static_cast<char>(length >> 8U & 0xFFU);
        frame[1] = static_cast<char>(length & 0xFFU);
    } else {
        frame.append(lineEnd);
    }
    return frame.append(message.body);
}

DecodedMessage decodeText(std::string_view frame) {
    const std::size_t end = frame.find("\r\n\r\n");
    if (end == std::string_view::npos)
        return refuse("no empty line ends the headers");
    if (end + lineEnd.size() > maxHeaderBlock)
        return refuse("the headers are longer than 8192 bytes");
    SpeechMessage message;
    if (const char* why = addHeaders(frame.substr(0, end), message))
        return refuse(why);
    message.body = frame.substr(end + 2 * lineEnd.size());
    return message;
}

DecodedMessage decodeBinary(std::string_view frame) {
    if (frame.size() < prefixLength)
        return refuse("the length of the headers is missing");
    const auto byte = [&frame](std::size_t at) { return std::size_t{static_cast<unsigned char>(frame[at])}; };
    const std::size_t length = byte(0) << 8U | byte(1);
    if (length > maxHeaderBlock)
        return refuse("the headers are longer than 8192 bytes");
    if (length > frame.size() - prefixLength)
        return refuse("the headers are longer than the message");
    if (frame.size() - prefixLength - length > maxPayload)
        return refuse("the payload is longer than 8192 bytes");
    SpeechMessage message;
    message.binary = true;
    if (const char* why = addHeaders(frame.substr(prefixLength, length), message))
        return refuse(why);
    message.body = frame.substr(prefixLength + length);
    return message;
}

std::string guidWithoutDashes() {
    std::random_device source;
    std::array<char, 33> digits{};
    std::string guid;
    for (int word = 0; word < 4; ++word) {
        std::snprintf(digits.data(), digits.size(), "%08x", static_cast<unsigned>(source()));
        guid += digits.data();
    }
    guid[12] = '4'; // a random GUID says of itself that it is one
    guid[16] = "89ab"[source() % 4];
    return guid;
}

std::string timestampNow() {
    using namespace std::chrono;
    const auto sinceEpoch = system_clock::now().time_since_epoch();
    const std::time_t seconds = duration_cast<std::chrono::seconds>(sinceEpoch).count();
    const auto milliseconds = static_cast<int>(duration_cast<std::chrono::milliseconds>(sinceEpoch).count() % 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ", milliseconds);
    return text.data();
}

std::string waveHeader(std::uint32_t sampleRate, std::uint16_t channels, std::uint16_t bitsPerSample) {
    constexpr std::uint32_t formatChunkLength = 16;
    constexpr std::uint32_t integerPcm = 1;
    const std::uint32_t bytesPerFrame = std::uint32_t{channels} * bitsPerSample / 8;
    std::string header = "RIFF";
    appendLittleEndian(header, 0, 4);
    header += "WAVEfmt ";
    appendLittleEndian(header, formatChunkLength, 4);
    appendLittleEndian(header, integerPcm, 2);
    appendLittleEndian(header, channels, 2);
    appendLittleEndian(header, sampleRate, 4);
    appendLittleEndian(header, sampleRate * bytesPerFrame, 4);
    appendLittleEndian(header, bytesPerFrame, 2);
    appendLittleEndian(header, bitsPerSample, 2);
    header += "data";
    appendLittleEndian(header, 0, 4);
    return header;
}

} // namespace parlowen::wire
