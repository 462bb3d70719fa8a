#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace parlowen::recogniser {

/// Whether a model got stuck: one word four times in a row, two to seven words three times, eight to sixteen
/// twice, where they are no characters that count as words.
bool repeatsItself(std::string_view text);

/// Each such run as one.
std::string withoutRepeats(const std::string& text);

/// How many tokens anybody speaks: the models' own makers stop at 6.5 a second.
std::size_t mostTokens(double seconds);

} // namespace parlowen::recogniser
