#include "SpeechMessage.h"

#include <algorithm>

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

std::nullopt_t refuse(std::string* problem, const char* why) {
    if (problem)
        *problem = why;
    return std::nullopt;
}

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

std::optional<SpeechMessage> decodeText(std::string_view frame, std::string* problem) {
    const std::size_t end = frame.find("\r\n\r\n");
    if (end == std::string_view::npos)
        return refuse(problem, "no empty line ends the headers");
    if (end + lineEnd.size() > maxHeaderBlock)
        return refuse(problem, "the headers are longer than 8192 bytes");
    SpeechMessage message;
    if (const char* why = addHeaders(frame.substr(0, end), message))
        return refuse(problem, why);
    message.body = frame.substr(end + 2 * lineEnd.size());
    return message;
}

std::optional<SpeechMessage> decodeBinary(std::string_view frame, std::string* problem) {
    if (frame.size() < prefixLength)
        return refuse(problem, "the length of the headers is missing");
    const auto byte = [&frame](std::size_t at) { return std::size_t{static_cast<unsigned char>(frame[at])}; };
    const std::size_t length = byte(0) << 8U | byte(1);
    if (length > maxHeaderBlock)
        return refuse(problem, "the headers are longer than 8192 bytes");
    if (length > frame.size() - prefixLength)
        return refuse(problem, "the headers are longer than the message");
    if (frame.size() - prefixLength - length > maxPayload)
        return refuse(problem, "the payload is longer than 8192 bytes");
    SpeechMessage message;
    message.binary = true;
    if (const char* why = addHeaders(frame.substr(prefixLength, length), message))
        return refuse(problem, why);
    message.body = frame.substr(prefixLength + length);
    return message;
}

} // namespace parlowen::wire
