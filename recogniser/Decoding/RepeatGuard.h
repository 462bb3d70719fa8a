#pragma once

#include <string>
#include <string_view>

namespace parlowen::recogniser {

/// Whether a model got stuck: one word four times in a row, two to seven words three times, eight to sixteen
/// twice, where they are no characters that count as words.
bool repeatsItself(std::string_view text);

/// Each such run as one.
std::string withoutRepeats(const std::string& text);

/// More tokens than anybody speaks: the models' own makers stop at 6.5 a second.
bool isTooMuch(int tokens, double seconds);

} // namespace parlowen::recogniser
