#include "SpeechBacklog.h"

#include <algorithm>

namespace parlowen {

namespace {

/// The front is moved away in pieces of 10 s rather than with every buffer.
constexpr std::size_t slack = 10 * SpeechBacklog::bytesPerSecond;

} // namespace

void SpeechBacklog::append(std::string_view bytes) {
    bytes_.append(bytes);
    if (end() - begin() > limit)
        dropBefore(end() - limit);
}

std::string_view SpeechBacklog::read(std::uint64_t position, std::size_t count) const {
    const std::uint64_t from = std::clamp(position, begin(), end());
    return std::string_view(bytes_).substr(spent_ + (from - begin_), count);
}

void SpeechBacklog::dropBefore(std::uint64_t position) {
    const std::uint64_t to = std::clamp(position, begin(), end());
    spent_ += to - begin_;
    begin_ = to;
    if (spent_ < slack)
        return;
    bytes_.erase(0, spent_);
    spent_ = 0;
}

} // namespace parlowen
