#pragma once

#include <string>
#include <string_view>

namespace parlowen::service {

/// Whether a text (UTF-8) holds a Chinese character.
bool hasChinese(std::string_view text);

/// The words of a text in lower case with one space around each: apostrophes are dropped, other signs part words.
std::string spacedWords(std::string_view text);

/// Without white space at both ends; control characters become spaces; cut after that many characters.
std::string tidied(std::string_view text, std::size_t maxCharacters);

/// Every `mark` in a text replaced.
std::string replaced(std::string text, std::string_view mark, std::string_view by);

} // namespace parlowen::service
