#include "Speech/SpeechTokens.h"

#include <gtest/gtest.h>
#include <set>

using namespace parlowen::service;
using namespace std::chrono_literals;

namespace {

class SpeechTokensTest : public testing::Test {
protected:
    std::chrono::steady_clock::time_point now{};
    SpeechTokens tokens{[this] { return now; }};
};

} // namespace

TEST_F(SpeechTokensTest, OpenForTenMinutes) {
    const auto token = tokens.issue();
    EXPECT_EQ(token.size(), 64U);
    EXPECT_TRUE(tokens.opens(token));
    EXPECT_FALSE(tokens.opens(""));
    EXPECT_FALSE(tokens.opens(token.substr(1)));
    now += 10min - 1s;
    EXPECT_TRUE(tokens.opens(token));
    now += 1s;
    EXPECT_FALSE(tokens.opens(token));
    EXPECT_FALSE(tokens.open(token));
}

TEST_F(SpeechTokensTest, EachIsAnother) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i)
        seen.insert(tokens.issue());
    EXPECT_EQ(seen.size(), 100U);
}

TEST_F(SpeechTokensTest, StayGoodAsLongAsASessionAndAMinuteLonger) {
    const auto token = tokens.issue();
    {
        const auto first = tokens.open(token);
        ASSERT_TRUE(first);
        now += 60min;
        tokens.issue(); // which drops what has expired
        const auto second = tokens.open(token);
        EXPECT_TRUE(second);
    }
    now += 59s;
    EXPECT_TRUE(tokens.open(token)); // a reconnect, which drops at once
    now += 59s;
    EXPECT_TRUE(tokens.opens(token));
    now += 1s;
    EXPECT_FALSE(tokens.opens(token));
}

TEST_F(SpeechTokensTest, AShortSessionTakesNothingFromTheTenMinutes) {
    const auto token = tokens.issue();
    tokens.open(token);
    now += 9min;
    EXPECT_TRUE(tokens.opens(token));
}

TEST(SpeechTokens, ASessionMayOutliveThem) {
    std::optional<SpeechTokens::Session> session;
    {
        SpeechTokens tokens;
        session.emplace(std::move(*tokens.open(tokens.issue())));
    }
    EXPECT_TRUE(session);
    session.reset();
}
