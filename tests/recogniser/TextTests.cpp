#include "Decoding/RepeatGuard.h"
#include "Decoding/SettledWords.h"
#include "Decoding/Words.h"
#include "Protocol/Frames.h"
#include "Streams/NoiseReduction.h"
#include "Streams/UtteranceWait.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

using namespace parlowen::recogniser;
using ::testing::ElementsAre;
using Samples = std::vector<std::int16_t>;

namespace {

std::vector<std::string> keysOf(std::string_view text) {
    std::vector<std::string> keys;
    for (const auto& word : wordsOf(text))
        keys.push_back(word.key);
    return keys;
}

Samples reduced(const Samples& samples, std::size_t piece) {
    NoiseReduction reduction;
    Samples all;
    const auto add = [&all](const Samples& more) { all.insert(all.end(), more.begin(), more.end()); };
    for (std::size_t at = 0; at < samples.size(); at += piece)
        add(reduction.feed(std::span(samples).subspan(at, std::min(piece, samples.size() - at))));
    add(reduction.finish());
    return all;
}

double power(std::span<const std::int16_t> samples) {
    double sum = 0;
    for (const double sample : samples)
        sum += sample * sample;
    return sum / static_cast<double>(samples.size());
}

} // namespace

TEST(Frames, AreReadCutAnywhere) {
    const Frame first{Frame::Kind::Audio, 0x01020304, std::string("\x00\xff\x80", 3)};
    const Frame second{Frame::Kind::Finish, 7, ""};
    const auto bytes = encode(first) + encode(second);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        FrameParser parser;
        ASSERT_TRUE(parser.feed(bytes.substr(0, cut)) && parser.feed(bytes.substr(cut)));
        const auto one = parser.next();
        const auto two = parser.next();
        ASSERT_TRUE(one && two && !parser.next()) << cut;
        EXPECT_EQ(one->body, first.body);
        EXPECT_EQ(one->stream, first.stream);
        EXPECT_EQ(two->kind, second.kind);
    }
    EXPECT_FALSE(FrameParser().feed(std::string("\x01\x00\x00\x00x", 5))) << "shorter than a head";
    EXPECT_FALSE(FrameParser().feed("\xff\xff\xff\x7f")) << "longer than any";
}

TEST(Words, AreComparedWithoutCaseAndMarks) {
    EXPECT_THAT(keysOf("  Don't  stop, \"Mr.\" X -- 42% "), ElementsAre("don't", "stop", "mr", "x", "", "42"));
    EXPECT_THAT(keysOf("你好，world。再见"), ElementsAre("你", "好", "world", "再", "见"));
    EXPECT_EQ(wordsOf("\xff\xe4\xbd").size(), 1U) << "broken UTF-8 is kept together";
    EXPECT_EQ(joined("你好", "再见"), "你好再见");
    EXPECT_EQ(joinedAtCut("I went to see.", "The house."), "I went to see the house.");
    EXPECT_EQ(joinedAtCut("Did you?", "The house."), "Did you? The house.");
    EXPECT_EQ(joinedAtCut("We met.", "Anna there."), "We met Anna there.");
}

TEST(SettledWords, StayWhenTwoHypothesesAgreedOnThem) {
    SettledWords words;
    EXPECT_EQ(words.add("Why do you", false).settled, 0U);
    EXPECT_EQ(words.add("why do you").settled, 0U) << "the first was of too little speech to bear it out";
    auto shown = words.add("Why do you want to");
    EXPECT_EQ(shown.text, "Why do you want to");
    EXPECT_EQ(shown.text.substr(0, shown.settled), "Why do you");
    shown = words.add("White you want to work"); // the beginning is heard otherwise now
    EXPECT_EQ(shown.text.substr(0, shown.settled), "Why do you want to");
    EXPECT_EQ(shown.text, "Why do you want to work");
    shown = words.add("Why do you want to work?");
    EXPECT_EQ(shown.text, "Why do you want to work?");
    shown = words.add("");
    EXPECT_EQ(shown.text.find("Why do you want"), 0U);
}

TEST(RepeatGuard, FindsLoopsAndTakesThemOut) {
    EXPECT_TRUE(repeatsItself("It is, is, is, is"));
    EXPECT_TRUE(repeatsItself("so I think so I think so i think."));
    EXPECT_FALSE(repeatsItself("no, no, no"));
    EXPECT_FALSE(repeatsItself("that that is is that that is not is not"));
    EXPECT_EQ(withoutRepeats("It is, is, is, is so I think so I think so i think."), "It is, so I think");
    EXPECT_TRUE(isTooMuch(70, 10));
    EXPECT_FALSE(isTooMuch(67, 10));
}

TEST(UtteranceWait, IsChosenByTheWords) {
    for (const char* text : {"Why do you want to work here?", "你为什么来？"})
        EXPECT_EQ(waitAfter(text), utterance_wait::question) << text;
    for (const char* text : {"I work in a bank.", "Thank you", ""})
        EXPECT_EQ(waitAfter(text), utterance_wait::statement) << text;
    for (const char* text :
         {"I work in a bank, and.", "What do you think about the", "Well,", "Because of the?", "Um."})
        EXPECT_EQ(waitAfter(text), utterance_wait::unfinished) << text;
}

TEST(NoiseReduction, TakesNoiseAwayAndLeavesWhatIsLoudInItsPlace) {
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same noise every time
    std::normal_distribution<double> noise(0, 300);
    Samples samples(48'123);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(
            noise(random) + (i >= 32'000 && i < 40'000 ? 9'000 * std::sin(0.2 * static_cast<double>(i)) : 0));
    const auto whole = reduced(samples, 1'600);
    EXPECT_EQ(whole.size(), samples.size());
    EXPECT_EQ(reduced(samples, 777), whole) << "however it arrives";
    EXPECT_EQ(reduced({1, 2, 3}, 3).size(), 3U) << "less than a frame";
    const auto part = [](const Samples& of, std::size_t at, std::size_t count) {
        return std::span(of).subspan(at, count);
    };
    EXPECT_LT(power(part(whole, 16'000, 8'000)), 0.2 * power(part(samples, 16'000, 8'000)));
    EXPECT_GT(power(part(whole, 32'400, 7'200)), 0.5 * power(part(samples, 32'400, 7'200)));
    EXPECT_LT(power(part(whole, 31'500, 400)), 0.1 * power(part(whole, 32'100, 400))) << "it begins where it did";
}
