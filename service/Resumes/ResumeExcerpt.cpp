#include "ResumeExcerpt.h"

#include "QuestionTerms.h"
#include "ResumeLines.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <utility>

namespace parlowen::service {

namespace {

constexpr std::size_t longestStation = 90; ///< characters
constexpr std::size_t stemLetters = 5;     ///< by which "migrated" is "migration"

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

/// Whether a text holds a year of this century or the last.
bool holdsYear(std::string_view text) {
    for (std::size_t at = 0; at + 4 <= text.size(); ++at) {
        const std::string_view year = text.substr(at, 4);
        const bool isApart = (at == 0 || !isDigit(text[at - 1])) && (at + 4 == text.size() || !isDigit(text[at + 4]));
        if (isApart && (year.starts_with("19") || year.starts_with("20")) && isDigit(year[2]) && isDigit(year[3]))
            return true;
    }
    return false;
}

/// Whether a line says where somebody was and when, rather than what was done there.
bool isStation(std::string_view line) {
    for (const std::string_view bullet : {"-", "*", "•", "·", "–", "●", "▪"})
        if (line.starts_with(bullet))
            return false;
    return holdsYear(line) && charactersOf(line).size() <= longestStation;
}

/// What tells a text from others, each with what it weighs: a figure more than a word, a pair of Chinese characters,
/// of which a word has several, less.
std::set<std::pair<std::string, int>> marksOf(std::string_view text) {
    constexpr int figure = 3;
    constexpr int word = 2;
    constexpr int pair = 1;
    const SearchTerms terms = questionTerms(text).asked;
    std::set<std::pair<std::string, int>> marks;
    for (const std::string& term : terms.words) {
        const bool isFigure = std::any_of(term.begin(), term.end(), isDigit);
        marks.emplace(isFigure ? term : term.substr(0, stemLetters), isFigure ? figure : word);
    }
    for (const std::string& term : terms.pairs)
        marks.emplace(term, pair);
    return marks;
}

} // namespace

ResumeBearing bearingOn(std::string_view resume, std::string_view question) {
    ResumeBearing bearing{relevantLines(resume, question, ResumeBearing::mostQuotes), {}};
    std::size_t stations = 0;
    bool isFirst = true;
    for (ResumeLine& line : resumeLines(resume)) {
        const bool isStarting = !line.heading.empty() && std::exchange(isFirst, false);
        const bool isPlace = isStation(line.text) && stations++ < ResumeBearing::mostStations;
        const auto& quotes = bearing.quotes;
        if (isStarting || isPlace || std::find(quotes.begin(), quotes.end(), line.text) != quotes.end())
            bearing.excerpt.push_back(std::move(line.text));
    }
    return bearing;
}

std::vector<std::string> linesBehind(const std::vector<std::string>& lines, std::string_view question,
                                     std::string_view answer) {
    constexpr int least = 4;
    const auto asked = marksOf(question);
    const auto said = marksOf(answer);
    std::vector<std::string> behind;
    for (const std::string& line : lines) {
        int weight = 0;
        for (const auto& mark : marksOf(line))
            if (said.contains(mark) && !asked.contains(mark))
                weight += mark.second;
        if (weight >= least)
            behind.push_back(line);
    }
    return behind;
}

} // namespace parlowen::service
