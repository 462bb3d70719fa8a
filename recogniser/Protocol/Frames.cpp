#include "Frames.h"

#include <utility>

namespace parlowen::recogniser {

namespace {

constexpr std::size_t lengthBytes = 4;
constexpr std::size_t headBytes = 5; // kind and stream

void appendNumber(std::string& bytes, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift & 0xff);
}

std::uint32_t numberAt(std::string_view bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    return value;
}

} // namespace

std::string encode(const Frame& frame) {
    std::string bytes;
    bytes.reserve(lengthBytes + headBytes + frame.body.size());
    appendNumber(bytes, static_cast<std::uint32_t>(headBytes + frame.body.size()));
    bytes += static_cast<char>(frame.kind);
    appendNumber(bytes, frame.stream);
    return bytes += frame.body;
}

bool FrameParser::feed(std::string_view bytes) {
    rest_.append(bytes);
    std::size_t at = 0;
    while (!broken_ && rest_.size() - at >= lengthBytes) {
        const std::size_t length = numberAt(rest_, at);
        broken_ = length < headBytes || length > headBytes + longestBody;
        if (broken_ || rest_.size() - at - lengthBytes < length)
            break;
        const auto whole = std::string_view(rest_).substr(at + lengthBytes, length);
        frames_.push_back(
            {static_cast<Frame::Kind>(whole.front()), numberAt(whole, 1), std::string(whole.substr(headBytes))});
        at += lengthBytes + length;
    }
    rest_.erase(0, at);
    return !broken_;
}

std::optional<Frame> FrameParser::next() {
    if (frames_.empty())
        return std::nullopt;
    auto frame = std::move(frames_.front());
    frames_.pop_front();
    return frame;
}

} // namespace parlowen::recogniser
