#include "RepeatGuard.h"

#include "Words.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>

namespace parlowen::recogniser {

namespace {

constexpr double mostTokensPerSecond = 6.5;
constexpr std::size_t tokensToSpare = 2;
constexpr std::size_t longestUnit = 16; // words

struct Run {
    std::size_t begin, unit, times; // words
};

std::size_t timesAt(const std::vector<Word>& words, std::size_t begin, std::size_t unit) {
    std::size_t i = begin + unit;
    while (i < words.size() && words[i].key == words[i - unit].key)
        ++i;
    return (i - begin) / unit;
}

constexpr unsigned char firstOfWide = 0xe2; // byte of a character that may count as a word

/// How often the same words come only where a model is stuck. Nobody repeats long ones to the letter.
std::size_t fewestTimes(std::span<const Word> unit) {
    const auto isWide = [](const Word& word) { return static_cast<unsigned char>(word.key[0]) >= firstOfWide; };
    if (unit.size() == 1)
        return 4;
    return unit.size() < 8 || std::any_of(unit.begin(), unit.end(), isWide) ? 3 : 2;
}

std::optional<Run> firstRun(const std::vector<Word>& words) {
    for (std::size_t begin = 0; begin < words.size(); ++begin)
        for (std::size_t unit = 1; unit <= longestUnit && begin + unit < words.size(); ++unit)
            if (const auto times = timesAt(words, begin, unit);
                times >= fewestTimes(std::span(words).subspan(begin, unit)))
                return Run{begin, unit, times};
    return std::nullopt;
}

} // namespace

bool repeatsItself(std::string_view text) { return firstRun(wordsOf(text)).has_value(); }

std::string withoutRepeats(const std::string& text) {
    std::string result = text;
    for (auto words = wordsOf(result); const auto run = firstRun(words); words = wordsOf(result)) {
        const auto keptEnd = words[run->begin + run->unit - 1].end;
        const auto runEnd = words[run->begin + run->unit * run->times - 1].end;
        result.erase(keptEnd, runEnd - keptEnd);
    }
    return result;
}

std::size_t mostTokens(double seconds) {
    return static_cast<std::size_t>(std::ceil(mostTokensPerSecond * seconds)) + tokensToSpare;
}

} // namespace parlowen::recogniser
