#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace parlowen {

/// The audio since the end of the last final result, kept to be sent again after a drop. A value. Positions count the
/// bytes of all audio of the session, from 0.
class SpeechBacklog {
public:
    /// What was sent longer ago than this many bytes (2 minutes) is forgotten.
    static constexpr std::size_t limit = std::size_t{2} * 60 * 32'000;

    std::uint64_t begin() const { return begin_; }
    std::uint64_t end() const { return begin_ + bytes_.size(); }

    void append(std::string_view bytes) { bytes_.append(bytes); }
    /// At most `count` bytes from a position between begin() and end(). Valid until the backlog changes.
    std::string_view read(std::uint64_t position, std::size_t count) const;
    /// Forgets what lies before the position.
    void dropBefore(std::uint64_t position);
    /// Forgets what lies more than the limit before the position up to which audio was sent.
    void bound(std::uint64_t sentUpTo);

private:
    std::string bytes_;
    std::uint64_t begin_ = 0;
};

} // namespace parlowen
