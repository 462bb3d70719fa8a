#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// What a résumé says to a question.
struct ResumeBearing {
    static constexpr std::size_t mostQuotes = 6;
    static constexpr std::size_t mostStations = 6;

    std::vector<std::string> quotes; ///< the lines that bear on it, the best first
    /// Those in the résumé's own order, with its first sentence and the lines of its stations (where somebody worked or
    /// studied, and when), under which they belong.
    std::vector<std::string> excerpt;
};

ResumeBearing bearingOn(std::string_view resume, std::string_view question);

/// The lines that an answer leans on: they share words, names or figures with it that the question does not hold.
std::vector<std::string> linesBehind(const std::vector<std::string>& lines, std::string_view question,
                                     std::string_view answer);

} // namespace parlowen::service
