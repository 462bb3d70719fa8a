#include "TokenSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>

namespace parlowen::recogniser {

namespace {

constexpr std::size_t alike = 3;          // last tokens of two texts that say the same from there on
constexpr std::size_t lengthsBetween = 2; // of such texts, at most

struct Text {
    Candidates tokens;
    float score = 0;
    Continuation continuation;
    bool isPlain = false; ///< each token the likeliest after those before
};

/// A text that may become one of those that are followed.
struct Extension {
    const Text* text;
    Candidate candidate;
    float score() const { return text->score + candidate.score; }
    bool isLikeliest() const { return candidate.token == text->continuation.next.front().token; }
    bool isPlain() const { return text->isPlain && isLikeliest(); }
};

std::vector<Extension> extensionsOf(const std::vector<Text>& texts) {
    std::vector<Extension> extensions;
    for (const auto& text : texts)
        for (const auto& candidate : text.continuation.next)
            extensions.push_back({&text, candidate});
    std::sort(extensions.begin(), extensions.end(),
              [](const Extension& a, const Extension& b) { return a.score() > b.score(); });
    return extensions;
}

/// The ends of all texts that were followed.
class KnownEnds {
public:
    /// Whether a likelier text of about that length ended in the same way. Knows this one from now on.
    bool holdLikelier(const Candidates& tokens, float score) {
        if (tokens.size() < alike)
            return false;
        auto& known = ends_[endOf(tokens, tokens.size())];
        for (const auto& [length, likelihood] : known)
            if (length + lengthsBetween >= tokens.size() && likelihood >= score && !isBeginOf(tokens, length))
                return true;
        known.emplace_back(tokens.size(), score);
        return false;
    }

private:
    using End = std::array<std::int64_t, alike>;

    static End endOf(const Candidates& tokens, std::size_t length) {
        End end{};
        for (std::size_t i = 0; i < alike; ++i)
            end[i] = tokens[length - alike + i].token;
        return end;
    }
    /// A text that repeats itself has its own begin among the known ends.
    static bool isBeginOf(const Candidates& tokens, std::size_t length) {
        return length < tokens.size() && endOf(tokens, length) == endOf(tokens, tokens.size());
    }

    std::map<End, std::vector<std::pair<std::size_t, float>>> ends_;
};

/// By logits instead of probabilities.
Candidates highest(std::span<const float> logits, std::size_t count) {
    Candidates candidates;
    for (std::size_t token = 0; token < logits.size(); ++token) {
        const float logit = logits[token];
        if (std::isnan(logit) || (candidates.size() == count && logit <= candidates.back().score))
            continue;
        const auto place = std::find_if(candidates.begin(), candidates.end(),
                                        [logit](const Candidate& other) { return other.score < logit; });
        candidates.insert(place, {static_cast<std::int64_t>(token), logit});
        if (candidates.size() > count)
            candidates.pop_back();
    }
    if (candidates.size() < count)
        throw std::runtime_error("a network gives no numbers");
    return candidates;
}

class BeamSearch {
public:
    explicit BeamSearch(const SearchBounds& bounds)
        : bounds_(bounds) {}

    Found run(Text begun, const Continue& proceed) {
        std::vector<Text> texts{std::move(begun)};
        while (texts.front().tokens.size() < bounds_.mostTokens) {
            auto followed = chosenOf(extensionsOf(texts));
            if (followed.empty())
                break;
            std::vector<Step> steps;
            for (const auto& text : followed)
                steps.push_back({text.continuation.state, text.tokens.back().token});
            auto continuations = proceed(steps);
            for (std::size_t i = 0; i < followed.size(); ++i)
                followed[i].continuation = std::move(continuations[i]);
            texts = std::move(followed);
        }
        return {ended_ ? ended_->tokens : texts.front().tokens, plain_ ? plain_->tokens : Candidates()};
    }

private:
    /// The likeliest within the bounds, and the plain one.
    std::vector<Text> chosenOf(const std::vector<Extension>& extensions) {
        const float least = extensions.front().score() - bounds_.margin;
        std::vector<Text> chosen;
        for (const auto& extension : extensions) {
            const bool isWithin = chosen.size() < bounds_.texts && extension.score() >= least;
            if (!isWithin && !extension.isPlain())
                continue;
            if (extension.candidate.token == endOfText)
                end(extension);
            else
                follow(extension, chosen);
        }
        if (ended_)
            std::erase_if(chosen, [this](const Text& text) { return !text.isPlain && text.score <= ended_->score; });
        return chosen;
    }

    /// Each token makes a text less likely: where it may end, but hardly does, it would win by being short.
    void end(const Extension& extension) {
        if (!extension.isLikeliest())
            return;
        Text text{extension.text->tokens, extension.score(), {}, extension.isPlain()};
        if (text.isPlain)
            plain_ = text;
        if (!ended_ || ended_->score < text.score)
            ended_ = std::move(text);
    }

    void follow(const Extension& extension, std::vector<Text>& chosen) {
        Text text{
            extension.text->tokens, extension.score(), {{}, extension.text->continuation.state}, extension.isPlain()};
        text.tokens.push_back(extension.candidate);
        if (!known_.holdLikelier(text.tokens, text.score) || chosen.empty() || text.isPlain)
            chosen.push_back(std::move(text));
    }

    const SearchBounds bounds_;
    std::optional<Text> ended_; ///< the likeliest
    std::optional<Text> plain_; ///< once it has ended
    KnownEnds known_;
};

} // namespace

Candidates likeliest(std::span<const float> logits, std::size_t count) {
    auto candidates = highest(logits, count);
    constexpr float negligible = 16;
    const float first = candidates.front().score;
    float sum = 0;
    for (const float logit : logits)
        if (logit > first - negligible)
            sum += std::exp(logit - first);
    for (auto& candidate : candidates)
        candidate.score -= first + std::log(sum);
    return candidates;
}

std::size_t confirmed(const Tokens& draft, std::span<const float> logits, const SearchBounds& bounds) {
    const auto size = logits.size() / (draft.size() + 1);
    const auto isCertain = [&](std::size_t i) {
        const auto next = highest(logits.subspan(i * size, size), 2);
        return next[0].token == draft[i] && next[0].score - next[1].score >= bounds.margin;
    };
    std::size_t count = 0;
    while (count < std::min(draft.size(), bounds.mostTokens) && isCertain(count))
        ++count;
    return count;
}

Found findText(const Candidates& begun, Continuation continuation, const Continue& proceed,
               const SearchBounds& bounds) {
    return BeamSearch(bounds).run({begun, 0, std::move(continuation), true}, proceed);
}

} // namespace parlowen::recogniser
