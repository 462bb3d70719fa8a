#include "Text.h"

#include <algorithm>

namespace parlowen::service {

namespace {

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

/// Where the character that follows `count` others begins.
std::size_t lengthOf(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    while (end < text.size() && count > 0) {
        ++end;
        while (end < text.size() && continuesCharacter(text[end]))
            ++end;
        --count;
    }
    return end;
}

} // namespace

bool hasChinese(std::string_view text) {
    // U+4E00 to U+9FFF take three bytes that begin with E4 (B8 or more) to E9.
    for (std::size_t i = 0; i + 2 < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        const auto second = static_cast<unsigned char>(text[i + 1]);
        if ((first == 0xe4 && second >= 0xb8) || (first >= 0xe5 && first <= 0xe9))
            return true;
    }
    return false;
}

std::string spacedWords(std::string_view text) {
    std::string words = " ";
    for (const char c : replaced(std::string(text), "’", "'")) {
        const bool upper = c >= 'A' && c <= 'Z';
        const bool part = upper || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (part)
            words.push_back(upper ? static_cast<char>(c - 'A' + 'a') : c);
        else if (c != '\'' && words.back() != ' ')
            words.push_back(' ');
    }
    if (words.back() != ' ')
        words.push_back(' ');
    return words;
}

std::string tidied(std::string_view text, std::size_t maxCharacters) {
    std::string result(text);
    std::replace_if(
        result.begin(), result.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    result.erase(0, std::min(result.find_first_not_of(' '), result.size()));
    result.resize(lengthOf(result, maxCharacters));
    result.erase(result.find_last_not_of(' ') + 1);
    return result;
}

std::string replaced(std::string text, std::string_view mark, std::string_view by) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + by.size()))
        text.replace(at, mark.size(), by);
    return text;
}

} // namespace parlowen::service
