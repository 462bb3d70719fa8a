#include "UtteranceWait.h"

#include "Decoding/Words.h"

#include <algorithm>
#include <array>

namespace parlowen::recogniser {

namespace {

/// No English sentence ends with one of these, whatever mark the model put after it.
constexpr std::array<std::string_view, 23> openWords{
    "a",   "an",   "and", "because", "but", "er", "every",  "if",    "its",     "my",      "nor", "or",
    "our", "than", "the", "their",   "uh",  "um", "unless", "until", "whereas", "whether", "your"};

bool endsWithAny(std::string_view text, std::initializer_list<std::string_view> marks) {
    return std::any_of(marks.begin(), marks.end(), [text](auto mark) { return text.ends_with(mark); });
}

} // namespace

std::int64_t waitAfter(std::string_view text) {
    const auto words = wordsOf(text);
    if (words.empty())
        return utterance_wait::statement;
    const bool calls = std::find(openWords.begin(), openWords.end(), words.back().key) != openWords.end();
    if (calls || endsWithAny(text, {",", "-", "...", "…", "，", "、", ":"}))
        return utterance_wait::unfinished;
    if (endsWithAny(text, {"?", "？"}))
        return utterance_wait::question;
    return utterance_wait::statement;
}

} // namespace parlowen::recogniser
