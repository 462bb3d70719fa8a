#include "DisplayText.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace parlowen::service {

namespace {

constexpr std::array<std::string_view, 25> swearWords{
    "arse",       "arsehole",     "asshole",       "assholes", "bastard", "bastards", "bitch",  "bitches", "bullshit",
    "cocksucker", "cunt",         "cunts",         "dickhead", "fuck",    "fucked",   "fucker", "fuckers", "fucking",
    "fucks",      "motherfucker", "motherfucking", "shit",     "shits",   "shitty",   "wanker"};

constexpr std::array<std::string_view, 43> questionOpeners{
    "who",      "who's", "whom",  "whose", "what",     "what's",  "which",  "when",      "where", "where's", "why",
    "how",      "how's", "do",    "does",  "did",      "don't",   "didn't", "doesn't",   "is",    "isn't",   "are",
    "aren't",   "was",   "were",  "am",    "have",     "haven't", "has",    "had",       "can",   "can't",   "could",
    "couldn't", "will",  "won't", "would", "wouldn't", "shall",   "should", "shouldn't", "may",   "might"};

template<typename List>
bool holds(const List& list, std::string_view word) {
    return std::find(list.begin(), list.end(), word) != list.end();
}

template<typename Function>
std::string mapWords(std::string_view words, Function function) {
    std::string result;
    while (!words.empty()) {
        const auto end = std::min(words.find(' '), words.size());
        if (const auto word = words.substr(0, end); !word.empty()) {
            if (!result.empty())
                result += ' ';
            result += function(word);
        }
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return result;
}

std::string maskedWord(std::string_view word) {
    return holds(swearWords, word) ? std::string(word.size(), '*') : std::string(word);
}

std::string displayWord(std::string_view word) {
    auto result = maskedWord(word);
    if (word == "i" || word.starts_with("i'"))
        result.front() = 'I';
    return result;
}

} // namespace

std::string partialText(std::string_view words) { return mapWords(words, displayWord); }

std::string sentenceText(std::string_view words) {
    auto text = partialText(words);
    if (text.empty())
        return text;
    const bool asks = holds(questionOpeners, std::string_view(text).substr(0, text.find(' ')));
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text += asks ? '?' : '.';
}

} // namespace parlowen::service
