#include "SpeechBacklog.h"

#include <algorithm>

namespace parlowen {

namespace {

constexpr std::size_t slack =
    std::size_t{10} * 32'000; // the front is moved away in pieces of 10 s rather than with every message

} // namespace

std::string_view SpeechBacklog::read(std::uint64_t position, std::size_t count) const {
    return std::string_view(bytes_).substr(position - begin_, count);
}

void SpeechBacklog::dropBefore(std::uint64_t position) {
    const std::uint64_t to = std::clamp(position, begin(), end());
    bytes_.erase(0, to - begin_);
    begin_ = to;
}

void SpeechBacklog::bound(std::uint64_t sentUpTo) {
    if (sentUpTo - begin_ > limit + slack)
        dropBefore(sentUpTo - limit);
}

} // namespace parlowen
