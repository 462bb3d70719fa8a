#include "Words.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace parlowen::recogniser {

namespace {

constexpr std::array<std::string_view, 32> functionWords{
    "a",    "about", "an",  "and",  "as",   "at",    "because", "but",  "by",   "for",  "from",
    "in",   "into",  "is",  "it",   "of",   "on",    "or",      "so",   "than", "that", "the",
    "then", "to",    "was", "were", "when", "which", "who",     "with", "you",  "your"};

/// The code point at a byte; a broken sequence counts as its first byte.
char32_t codePointAt(std::string_view text, std::size_t at, std::size_t& length) {
    const auto byte = static_cast<unsigned char>(text[at]);
    length = byte < 0xc0 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
    if (length == 1 || at + length > text.size()) {
        length = 1;
        return byte;
    }
    char32_t code = byte & (0xffU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
        code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3fU);
    return code;
}

bool isWidePunctuation(char32_t c) {
    return (c >= 0x3000 && c <= 0x303f) || (c >= 0xff00 && c <= 0xff0f) || (c >= 0xff1a && c <= 0xff20) ||
           (c >= 0x2010 && c <= 0x2027);
}

/// Of a script that is written without blanks.
bool standsAlone(char32_t c) { return c >= 0x2e80 && c < 0xfb00 && !(c >= 0xac00 && c <= 0xd7af); }

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

bool isFunctionWord(std::string_view word) {
    return std::find(functionWords.begin(), functionWords.end(), word) != functionWords.end();
}

} // namespace

std::vector<Word> wordsOf(std::string_view text) {
    std::vector<Word> words;
    bool open = false; // the last word may go on
    for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
        const char32_t c = codePointAt(text, at, length);
        if (c < 0x80 && std::isspace(static_cast<int>(c))) {
            open = false;
            continue;
        }
        const bool alone = standsAlone(c) && !isWidePunctuation(c);
        const bool isMark = isWidePunctuation(c) || (c < 0x80 && !std::isalnum(static_cast<int>(c)) && c != '\'');
        if (alone || !(open || (isMark && isWidePunctuation(c) && !words.empty())))
            words.push_back({at, at, {}});
        words.back().end = at + length;
        if (!isMark)
            words.back().key += c < 0x80 ? std::string(1, static_cast<char>(std::tolower(static_cast<int>(c))))
                                         : std::string(text.substr(at, length));
        open = !alone && !(isMark && isWidePunctuation(c));
    }
    return words;
}

std::string withoutEnd(std::string text) {
    constexpr std::array<std::string_view, 6> marks{".", "?", "!", "。", "？", "！"};
    const auto last = [&] {
        return std::find_if(marks.begin(), marks.end(), [&text](auto mark) { return text.ends_with(mark); });
    };
    for (auto mark = last(); mark != marks.end(); mark = last())
        text.resize(text.size() - mark->size());
    return text;
}

std::string joined(std::string_view first, std::string_view second) {
    if (first.empty() || second.empty())
        return std::string(first).append(second);
    std::size_t length = 0;
    const char32_t next = codePointAt(second, 0, length);
    const bool blank = !standsAlone(next) && !isWidePunctuation(next);
    return std::string(first).append(blank ? " " : "").append(second);
}

std::string joinedAtCut(std::string_view first, std::string_view second) {
    if (first.empty() || second.empty())
        return joined(first, second);
    while (first.ends_with('.'))
        first.remove_suffix(1);
    const bool goesOn = !first.ends_with('?') && !first.ends_with('!');
    const auto word = second.substr(0, std::min(second.find_first_of(" ,.?!"), second.size()));
    std::string next(second);
    if (goesOn && isFunctionWord(lowered(word)))
        next.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(next.front())));
    return joined(first, next);
}

} // namespace parlowen::recogniser
