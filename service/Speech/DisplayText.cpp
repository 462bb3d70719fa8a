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

bool isLetter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return std::isalnum(byte) || byte >= 0x80;
}

bool isSwearWord(std::string_view word) {
    std::string lowered(word);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::find(swearWords.begin(), swearWords.end(), lowered) != swearWords.end();
}

} // namespace

std::string withoutProfanity(std::string_view text) {
    std::string result(text);
    for (auto begin = result.begin(); begin != result.end();) {
        begin = std::find_if(begin, result.end(), isLetter);
        const auto end = std::find_if_not(begin, result.end(), isLetter);
        if (isSwearWord({begin, end}))
            std::fill(begin, end, '*');
        begin = end;
    }
    return result;
}

} // namespace parlowen::service
