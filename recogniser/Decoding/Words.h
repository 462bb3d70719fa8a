#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::recogniser {

/// A word of a text. Chinese and Japanese characters count as a word each.
struct Word {
    std::size_t begin; ///< bytes of the text, with the punctuation around it
    std::size_t end;
    std::string key; ///< to compare by: without case (of ASCII) and punctuation; empty for a lone punctuation mark
};

std::vector<Word> wordsOf(std::string_view text);

/// Without the mark of a finished sentence, which a model puts wherever the sound breaks off.
std::string withoutEnd(std::string text);

/// Texts of neighbouring pieces as one: a blank in between where the script has blanks.
std::string joined(std::string_view first, std::string_view second);

/// The same for pieces of one breath of speech that were cut between two words: the full stop that the model put at
/// the cut goes, and so does the capital of a function word after it.
std::string joinedAtCut(std::string_view first, std::string_view second);

} // namespace parlowen::recogniser
