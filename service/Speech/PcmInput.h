#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// The audio bytes of a turn become samples: an optional RIFF/WAVE header of 44 bytes, then 16 bit little-endian PCM,
/// cut anywhere. A value.
class PcmInput {
public:
    /// The samples that are whole now; none when the header names another format than mono PCM of 16 kHz and 16 bit.
    std::optional<std::vector<std::int16_t>> feed(std::string_view bytes);

private:
    bool headerDone = false;
    std::string rest; ///< bytes that are no whole sample, or not yet a whole header
};

} // namespace parlowen::service
