#include "PcmInput.h"

#include <algorithm>

namespace parlowen::service {

namespace {

constexpr std::string_view magic = "RIFF";
constexpr std::size_t headerLength = 44;

std::uint32_t littleEndian(std::string_view bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return value;
}

bool isExpectedFormat(std::string_view header) {
    return header.substr(8, 8) == "WAVEfmt " && littleEndian(header, 20, 2) == 1 && littleEndian(header, 22, 2) == 1 &&
           littleEndian(header, 24, 4) == 16'000 && littleEndian(header, 34, 2) == 16;
}

} // namespace

std::optional<std::vector<std::int16_t>> PcmInput::feed(std::string_view bytes) {
    rest.append(bytes);
    if (!headerDone) {
        const auto compared = std::min(rest.size(), magic.size());
        const bool mayBeHeader = rest.compare(0, compared, magic, 0, compared) == 0;
        if (mayBeHeader && rest.size() < headerLength)
            return std::vector<std::int16_t>();
        if (mayBeHeader && !isExpectedFormat(rest))
            return std::nullopt;
        rest.erase(0, mayBeHeader ? headerLength : 0);
        headerDone = true;
    }
    std::vector<std::int16_t> samples(rest.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(littleEndian(rest, 2 * i, 2));
    rest.erase(0, 2 * samples.size());
    return samples;
}

} // namespace parlowen::service
