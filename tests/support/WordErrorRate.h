#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace parlowen::testing {

/// The words of a text in lower case, without punctuation: letters, digits and apostrophes within a word.
inline std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words;
    std::string word;
    for (const char c : std::string(text) + ' ') {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) || byte >= 0x80 || (c == '\'' && !word.empty()))
            word += static_cast<char>(std::tolower(byte));
        else if (!word.empty())
            words.push_back(std::exchange(word, {}));
    }
    return words;
}

/// Insertions, deletions and replacements that make `heard` of `reference`, at least so many.
inline std::size_t wordErrors(const std::vector<std::string>& reference, const std::vector<std::string>& heard) {
    std::vector<std::size_t> row(heard.size() + 1); // errors against the first words of `reference` so far
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const auto& word : reference) {
        std::size_t diagonal = row.front()++;
        for (std::size_t i = 0; i < heard.size(); ++i) {
            const auto replaced = diagonal + (word == heard[i] ? 0 : 1);
            diagonal = row[i + 1];
            row[i + 1] = std::min({replaced, row[i + 1] + 1, row[i] + 1});
        }
    }
    return row.back();
}

/// Errors a reference word: 0 is perfect. The reference must hold a word.
inline double wordErrorRate(std::string_view reference, std::string_view heard) {
    const auto words = wordsOf(reference);
    return static_cast<double>(wordErrors(words, wordsOf(heard))) / static_cast<double>(words.size());
}

} // namespace parlowen::testing
