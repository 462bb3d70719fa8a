#pragma once

#include <string>
#include <string_view>

namespace parlowen::service {

/// The words of an utterance that goes on, as a recogniser gives them (English, lower case, blanks in between): swear
/// words as asterisks, one for each letter, "i" as "I", else as they are.
std::string partialText(std::string_view words);
/// A finished utterance as a sentence: the same, with a capital at its start and a question mark (when it begins with a
/// question word or an auxiliary) or a full stop at its end. Empty stays empty.
std::string sentenceText(std::string_view words);

} // namespace parlowen::service
