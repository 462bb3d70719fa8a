#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// What is searched for in a résumé: single words in lower case, and pairs of neighbouring Chinese characters.
struct SearchTerms {
    std::vector<std::string> words;
    std::vector<std::string> pairs;
};

/// What a question asks for, in its own words without those that every question has, and what a résumé would say
/// instead, in English and Chinese: "led" for a question of leadership.
struct QuestionTerms {
    SearchTerms asked;
    SearchTerms related;
};

QuestionTerms questionTerms(std::string_view question);

/// A text split by its writing: the words that are not Chinese, in lower case, and the runs of Chinese characters.
struct SplitText {
    std::vector<std::string> words;
    std::vector<std::string> runs;
};
SplitText splitByWriting(std::string_view text);

/// The characters of a text, each as UTF-8.
std::vector<std::string> charactersOf(std::string_view text);

} // namespace parlowen::service
