#include "Speech/DisplayText.h"
#include "Speech/SpeechSession.h"
#include "Speech/SpeechTokens.h"

#include <Wire/SpeechMessage.h>
#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace std::chrono_literals;
using parlowen::wire::waveHeader;

TEST(DisplayText, SwearWordsAreMaskedAndAllElseStays) {
    EXPECT_EQ(withoutProfanity("Shit happens, it's fucking 42% \"BAD\"."), "**** happens, it's ******* 42% \"BAD\".");
    EXPECT_EQ(withoutProfanity("A shiitake assessment in Scunthorpe\xe2\x80\xa6"),
              "A shiitake assessment in Scunthorpe\xe2\x80\xa6");
    EXPECT_EQ(withoutProfanity(""), "");
}

TEST(PcmInput, IsReadWithAndWithoutHeaderCutAnywhere) {
    const std::string pcm("\x01\x00\xff\xff\x00\x80\xff\x7f\x34\x12", 10);
    for (const auto& bytes : {waveHeader() + pcm, pcm}) {
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            PcmInput input;
            std::vector<std::int16_t> samples = input.feed(bytes.substr(0, cut)).value();
            const auto rest = input.feed(bytes.substr(cut)).value();
            samples.insert(samples.end(), rest.begin(), rest.end());
            EXPECT_EQ(samples, (std::vector<std::int16_t>{1, -1, -32'768, 32'767, 0x1234})) << "cut at " << cut;
        }
    }
}

class SpeechTokensTest : public testing::Test {
protected:
    SpeechTokens::TimePoint now{100'000h};
    SpeechTokens tokens{[this] { return now; }};
};

TEST_F(SpeechTokensTest, OpenForTenMinutes) {
    const auto token = tokens.issue();
    const auto other = tokens.issue();
    EXPECT_EQ(token.size(), 64U);
    EXPECT_NE(other, token);
    EXPECT_FALSE(tokens.open(""));
    EXPECT_FALSE(tokens.open(token.substr(1)));
    EXPECT_TRUE(tokens.open(token)); // a short session takes nothing from the ten minutes
    now += 10min - 1s;
    EXPECT_TRUE(tokens.open(token));
    now += 1s;
    EXPECT_FALSE(tokens.open(other));
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
    now += 60s;
    EXPECT_FALSE(tokens.open(token));
}

TEST_F(SpeechTokensTest, OpenInTheFirstMinuteOfTheNextRun) {
    tokens.useKey("the key");
    const auto old = tokens.issue();
    now += 11h;
    const auto token = tokens.issue();
    auto forged = token;
    forged[15] ^= 1; // another second
    now += 1h;
    const auto nextRun = [this](const char* key) {
        auto next = std::make_unique<SpeechTokens>([this] { return now; });
        next->useKey(key);
        return next;
    };
    EXPECT_FALSE(nextRun("another key")->open(token));
    const auto next = nextRun("the key");
    EXPECT_FALSE(next->open(forged));
    EXPECT_FALSE(next->open(old));
    const auto late = nextRun("the key");
    now += 59s;
    const auto session = next->open(token);
    ASSERT_TRUE(session);
    now += 1h;
    EXPECT_TRUE(next->open(token)) << "the session goes on";
    EXPECT_FALSE(late->open(token));
}
