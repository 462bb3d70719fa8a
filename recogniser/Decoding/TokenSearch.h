#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace parlowen::recogniser {

/// A text as the numbers of its pieces in a model's vocabulary, without a mark at its begin or end.
using Tokens = std::vector<std::int64_t>;

inline constexpr std::int64_t endOfText = 2;

/// What may follow in a text, likeliest first. The score is the logarithm of its probability.
struct Candidate {
    std::int64_t token;
    float score;
};
using Candidates = std::vector<Candidate>;

/// The likeliest by a network's outputs, one for each token of the vocabulary. Throws std::runtime_error where fewer
/// are numbers.
Candidates likeliest(std::span<const float> logits, std::size_t count);

/// A text so far: what may follow, and what its decoder needs to go on.
struct Continuation {
    Candidates next;
    std::shared_ptr<const void> state;
};
/// One more token of a text.
struct Step {
    std::shared_ptr<const void> state; ///< of the text before
    std::int64_t token;
};
/// What may follow each of the texts then.
using Continue = std::function<std::vector<Continuation>(std::span<const Step>)>;

struct SearchBounds {
    std::size_t texts = 1;      ///< that are followed at a time
    float margin = 0;           ///< a text so much less likely than the likeliest is given up
    std::size_t mostTokens = 0; ///< of the result
};

/// How many tokens of a draft a search within the bounds would find again, with nothing else in reach. The outputs are
/// those after none of its tokens, after the first, and so on, after all of them.
std::size_t confirmed(const Tokens& draft, std::span<const float> logits, const SearchBounds& bounds);

/// Two texts, each token with its score.
struct Found {
    Candidates likeliest;
    Candidates plain; ///< each token the likeliest after those before; empty when that has no end within the bounds
};

/// The texts that go on from `begun` (beam search). Of texts that end alike the likeliest alone is followed. A sentence
/// that is hard to spell may be missing in the likeliest text, since one without it is likelier; rarely in the plain
/// one.
Found findText(const Candidates& begun, Continuation continuation, const Continue& proceed, const SearchBounds& bounds);

} // namespace parlowen::recogniser
