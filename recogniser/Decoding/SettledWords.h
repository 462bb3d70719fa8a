#pragma once

#include "Words.h"

#include <string>
#include <string_view>
#include <vector>

namespace parlowen::recogniser {

/// What may be shown of an utterance that is decoded again and again while it goes on: words that two hypotheses in a
/// row agree on stay (local agreement of two, after Macháček et al., "Turning Whisper into Real-Time Transcription
/// System", 2023), what follows them is the newest hypothesis'. A value.
class SettledWords {
public:
    struct Shown {
        std::string text;
        std::size_t settled = 0; ///< bytes of `text` whose words stay; case and punctuation may change
    };
    /// The next hypothesis, of the whole segment. What is of too little speech `settles` nothing, and bears out none.
    Shown add(const std::string& hypothesis, bool settles = true);
    const Shown& shown() const { return last_; }

private:
    std::size_t placeOfSettled(const std::vector<Word>& words) const;

    void respell(const std::string& hypothesis, const std::vector<Word>& words, std::size_t count);

    std::string settledText_;
    std::vector<std::string> settledKeys_;
    std::vector<std::string> previous_; ///< keys of the last hypothesis' words after the settled ones
    Shown last_;
};

} // namespace parlowen::recogniser
