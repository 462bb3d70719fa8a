// What a decoder makes of its network's outputs.
#include "Decoding/TokenSearch.h"

#include "Decoding/Vocabulary.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <string>

#include "support/TemporaryDirectory.h"

namespace {

using namespace parlowen::recogniser;
using namespace parlowen::testing;

/// Probabilities of what follows each text; a text that is not named ends.
struct ToyModel {
    std::map<Tokens, std::map<std::int64_t, double>> following;
    std::size_t steps = 0;
    Tokens plain = {};

    static Tokens tokensOf(const Candidates& candidates) {
        Tokens tokens;
        for (const auto& candidate : candidates)
            tokens.push_back(candidate.token);
        return tokens;
    }
    Continuation after(const Tokens& tokens) {
        Candidates candidates;
        for (const auto& [token, probability] :
             following.count(tokens) ? following.at(tokens) : std::map{std::pair{endOfText, 1.0}})
            candidates.push_back({token, static_cast<float>(std::log(probability))});
        std::sort(candidates.begin(), candidates.end(), [](auto a, auto b) { return a.score > b.score; });
        return {candidates, std::make_shared<Tokens>(tokens)};
    }
    Tokens search(const SearchBounds& bounds, const Tokens& begun = {}) {
        steps = 0;
        Candidates held;
        for (const auto token : begun)
            held.push_back({token, 0});
        const auto proceed = [this](std::span<const Step> next) {
            std::vector<Continuation> all;
            for (const auto& [state, token] : next) {
                ++steps;
                auto tokens = *std::static_pointer_cast<const Tokens>(state);
                tokens.push_back(token);
                all.push_back(after(tokens));
            }
            return all;
        };
        const auto found = findText(held, after(begun), proceed, bounds);
        plain = tokensOf(found.plain);
        return tokensOf(found.likeliest);
    }
};

TEST(TokenSearch, FindsTheLikeliestTextWithinItsBounds) {
    // 10 is the likelier begin, but 11 20 (0.4) the likelier text than 10 20 (0.6 x 0.5).
    ToyModel model{{{{}, {{10, 0.6}, {11, 0.4}}}, {{10}, {{20, 0.5}, {21, 0.5}}}, {{11}, {{20, 1}}}}};
    EXPECT_EQ(model.search({4, 1.5, 9}), (Tokens{11, 20}));
    EXPECT_EQ(model.search({1, 0, 9}), (Tokens{10, 20}));
    EXPECT_EQ(model.search({4, 0.1F, 9}), (Tokens{10, 20})) << "11 is too unlikely to be followed";
    EXPECT_EQ(model.search({4, 1.5, 1}), Tokens{10}) << "no more tokens";
    EXPECT_EQ(model.search({4, 1.5, 9}, {10}), (Tokens{10, 20})) << "goes on from a begin";
    // A text that may end, but hardly does, is followed to its end, however unlikely all of it is.
    ToyModel sentence{{{{}, {{endOfText, 0.3}, {10, 0.7}}},
                       {{10}, {{11, 0.6}, {12, 0.2}, {22, 0.2}}},
                       {{10, 11}, {{13, 0.6}, {14, 0.2}, {24, 0.2}}},
                       {{10, 11, 13}, {{15, 0.6}, {16, 0.2}, {26, 0.2}}}}};
    EXPECT_EQ(sentence.search({4, 1.5, 9}), (Tokens{10, 11, 13, 15}));
    // The plain text goes on to its end, however likely another one is.
    ToyModel mumbled{{{{}, {{10, 0.6}, {30, 0.4}}}, {{30}, {{31, 1}}}}};
    Tokens said{10};
    for (std::int64_t token = 11; token < 15; ++token) {
        mumbled.following[said] = {{token, 0.4}, {50, 0.2}, {51, 0.2}, {52, 0.2}};
        said.push_back(token);
    }
    EXPECT_EQ(mumbled.search({4, 1.5, 9}), (Tokens{30, 31}));
    EXPECT_EQ(mumbled.plain, said);
    mumbled.search({4, 1.5, 4});
    EXPECT_EQ(mumbled.plain, Tokens()) << "it has no end";
    // A text that ends early is beaten by a longer one that is likelier, and beats one that is not.
    ToyModel ending{
        {{{}, {{endOfText, 0.3}, {10, 0.7}}}, {{10}, {{11, 0.3}, {endOfText, 0.7}}}, {{10, 11}, {{12, 1}}}}};
    EXPECT_EQ(ending.search({4, 5, 9}), Tokens{10});
}

TEST(TokenSearch, FollowsOneOfTheTextsThatEndAlike) {
    const auto speak = [](const Tokens& begun, ToyModel& model, double first) {
        model.following[{}][begun.front()] = first;
        Tokens text;
        for (const auto token : begun) {
            model.following[text].emplace(token, 1);
            text.push_back(token);
        }
    };
    ToyModel model;
    speak({10, 20, 21, 22, 23, 24, 25}, model, 0.55);
    speak({11, 12, 20, 21, 22, 23, 24}, model, 0.45); // one token longer
    EXPECT_EQ(model.search({4, 5, 20}), (Tokens{10, 20, 21, 22, 23, 24, 25}));
    EXPECT_EQ(model.steps, 7U + 4U) << "the other one up to the end of the third token that both have";
    ToyModel stuck;
    speak({10, 10, 10, 10, 10, 10}, stuck, 1);
    EXPECT_EQ(stuck.search({4, 5, 20}).size(), 6U) << "a text is not taken for another one that ended like itself";
}

TEST(TokenSearch, BelievesADraftAsFarAsNothingElseIsInReach) {
    // Of three tokens; the first is sure, sure, within reach of another, sure.
    const std::vector<float> logits{9, 0, 1, 9, 1, 0, 9, 8, 0, 9, 0, 0};
    EXPECT_EQ(confirmed({0, 0, 0}, logits, {1, 0, 9}), 3U);
    EXPECT_EQ(confirmed({0, 0, 0}, logits, {4, 1.5, 9}), 2U) << "the second is to be followed, too";
    EXPECT_EQ(confirmed({0, 1, 0}, logits, {1, 0, 9}), 1U);
    EXPECT_EQ(confirmed({0, 0, 0}, logits, {1, 0, 2}), 2U);
    EXPECT_EQ(confirmed({}, std::span(logits).first(3), {1, 0, 9}), 0U);
    const auto found = likeliest(std::vector<float>{0, 3, 1, 2}, 2);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].token, 1);
    EXPECT_EQ(found[1].token, 3);
    EXPECT_THROW(likeliest(std::vector<float>{0, std::nanf("")}, 2), std::runtime_error);
    EXPECT_NEAR(found[0].score, std::log(std::exp(3) / (1 + std::exp(1) + std::exp(2) + std::exp(3))), 1e-5);
}

TEST(Vocabulary, SpellsTokens) {
    const TemporaryDirectory folder;
    const auto file = folder.path() / "tokens.txt";
    writeFile(file, "PHVuaz4= 0\nPHM+ 1\nPC9zPg== 2\nIEdvb2Q= 3\nIMOk 4\nPDxTVF8wPj4= 5\n");
    EXPECT_EQ(Vocabulary(file).textOf({1, 3, 5, 4, 2}), " Good \xc3\xa4");
    for (const auto* other : {"<unk> 0\n", "Good 1\n", "<unk>\t0\n", "IEdv"}) {
        writeFile(file, other);
        EXPECT_THROW(Vocabulary{file}, std::runtime_error) << other;
    }
}

} // namespace
