#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace parlowen {

/// The newest audio of a session, kept until it has had its result: what was not sent yet, and what would have to be
/// sent again. A value. Positions count the bytes of all audio of the session, from 0.
class SpeechBacklog {
public:
    static constexpr std::size_t bytesPerSecond = 32'000;
    /// At most this much (60 s) is kept; of more the oldest is forgotten.
    static constexpr std::size_t limit = 60 * bytesPerSecond;

    std::uint64_t begin() const { return begin_; }
    std::uint64_t end() const { return begin_ + bytes_.size() - spent_; }

    void append(std::string_view bytes);
    /// At most `count` bytes from a position, or from begin() when that lies behind the position.
    std::string_view read(std::uint64_t position, std::size_t count) const;
    /// Forgets what lies before the position.
    void dropBefore(std::uint64_t position);

private:
    std::string bytes_;
    std::size_t spent_ = 0;   ///< bytes at the front that are forgotten, though not yet moved away
    std::uint64_t begin_ = 0; ///< of the first byte that is not
};

} // namespace parlowen
