#include "Decoding/RepeatGuard.h"
#include "Decoding/SettledWords.h"
#include "Decoding/Transcriber.h"
#include "Decoding/Words.h"
#include "Protocol/Frames.h"
#include "Streams/DecodingLoad.h"
#include "Streams/NoiseReduction.h"
#include "Streams/UtteranceTracker.h"
#include "Streams/UtteranceWait.h"
#include "support/Testing.h"
#include <numeric>
#include <random>

using namespace parlowen::recogniser;
using namespace parlowen::testing;
using Job = UtteranceTracker::Job;
using Kind = StreamEvent::Kind;
using Clock = UtteranceTracker::Clock;
using Samples = std::vector<std::int16_t>;

namespace {

constexpr std::int64_t window = VoiceDetector::windowLength;

/// A voice wherever the samples are not 0, with the delays of a real detector.
class LoudnessDetector : public VoiceDetector {
public:
    bool feed(const Window& samples) override {
        const bool voice = samples.front() != 0;
        voiced = voice ? voiced + window : 0;
        silent = voice ? 0 : silent + window;
        speaking = voiced >= onsetDelay || (speaking && silent <= closeDelay);
        return speaking;
    }
    std::int64_t quiet() const override { return silent; }

private:
    std::int64_t voiced = 0, silent = 0;
    bool speaking = false;
};

struct UtteranceTrackerTest : ::testing::Test {
    /// Seconds of sound, each with the value of its samples, in pieces of 0.1 s, and all the work that comes up
    /// meanwhile.
    void hear(const std::vector<std::pair<double, std::int16_t>>& sounds) {
        for (const auto& [seconds, value] : sounds)
            for (int i = 0; i < static_cast<int>(seconds * 10 + 0.5); ++i) {
                tracker->append(Samples(1'600, value));
                heard += 1'600;
                tracker->advance();
                now += std::chrono::milliseconds(100);
                work();
            }
    }
    void finish() {
        tracker->finish();
        tracker->advance();
        work();
    }
    void work() {
        while (decoding) {
            auto job = tracker->nextFinalJob();
            if (!job)
                job = tracker->nextPartialJob(now);
            if (!job)
                return;
            EXPECT_EQ(tracker->samplesOf(*job).size(), static_cast<std::size_t>(job->to - job->from));
            jobs.push_back(*job);
            tracker->onText(*job, say(*job), now, took);
        }
    }
    std::vector<StreamEvent> told(Kind kind) const {
        std::vector<StreamEvent> found = events;
        std::erase_if(found, [kind](const auto& event) { return event.kind != kind; });
        return found;
    }

    std::vector<StreamEvent> events;
    std::vector<Job> jobs;
    std::function<std::string(const Job&)> say = [](const Job&) { return "It may be so."; };
    bool decoding = true;
    Clock::time_point now{};
    Clock::duration took = std::chrono::milliseconds(50); ///< for each decoding
    std::int64_t heard = 0;
    const std::unique_ptr<UtteranceTracker> tracker = std::make_unique<UtteranceTracker>(
        0, std::make_unique<LoudnessDetector>(), [this](const auto& event) { events.push_back(event); });
};

TEST_F(UtteranceTrackerTest, AnUtteranceHasItsPlaceAndPartialsBeforeItsEnd) {
    hear({{1, 0}, {2, 9}, {1, 0}});
    const auto finals = told(Kind::Final);
    ASSERT_EQ(finals.size(), 1U);
    EXPECT_NEAR(static_cast<double>(finals[0].from), 16'000, 2 * window);
    EXPECT_NEAR(static_cast<double>(finals[0].to), 48'000, 2 * window);
    EXPECT_EQ(told(Kind::Start).size(), 1U);
    EXPECT_EQ(told(Kind::Partial).size(), 1U) << "what did not change is not told again";
    EXPECT_GE(jobs.size(), 4U);
    EXPECT_LE(jobs.front().to, 16'000 + 10'000);
    finish();
    EXPECT_EQ(told(Kind::End).size(), 1U);
    EXPECT_EQ(tracker->taken(), heard);
}

TEST_F(UtteranceTrackerTest, PartialsTakeTheirShareOfTimeAndNoMore) {
    took = std::chrono::seconds(1);
    hear({{7, 9}});
    EXPECT_EQ(jobs.size(), 3U) << "in the first, the fourth and the seventh second";
}

TEST_F(UtteranceTrackerTest, EachPieceIsDecodedUntilThereIsAWord) {
    say = [](const Job& job) { return job.to < 14'000 ? "" : "So"; };
    hear({{1, 9}});
    EXPECT_EQ(jobs.size(), 5U) << "from half a second on";
}

TEST_F(UtteranceTrackerTest, WordsStayOnceTwoDecodingsOfEnoughSpeechAgreeOnThem) {
    say = [](const Job& job) {
        std::string text;
        for (auto at = job.from; at < job.to; at += 8'000)
            text += std::to_string(at) + " ";
        return text;
    };
    hear({{8, 9}});
    const auto partials = told(Kind::Partial);
    const auto first = std::ranges::find_if(partials, [](const auto& told) { return told.settled > 0; });
    ASSERT_NE(first, partials.end());
    EXPECT_NEAR(static_cast<double>(first->to), 64'000, 8'000);
    EXPECT_NEAR(static_cast<double>(partials.back().text.size() - partials.back().settled), 15, 8)
        << "words at the end";
    say = [](const Job&) { return "Next."; };
    hear({{2, 0}, {2, 9}});
    EXPECT_EQ(told(Kind::Partial).back().text, "Next.") << "nothing of the sentence before";
}

TEST_F(UtteranceTrackerTest, ThePauseThatEndsItDependsOnTheWords) {
    const auto finalsAfter = [this](const std::string& text, double pause) {
        events.clear();
        say = [text](const Job&) { return text; };
        hear({{1, 9}, {pause, 0}});
        const auto count = told(Kind::Final).size();
        hear({{3, 0}});
        EXPECT_EQ(told(Kind::Final).size(), 1U);
        return count;
    };
    EXPECT_EQ(finalsAfter("Is it so?", 0.6), 1U);
    EXPECT_EQ(finalsAfter("It is so.", 0.6), 0U);
    EXPECT_EQ(finalsAfter("It is so.", 0.8), 1U);
    EXPECT_EQ(finalsAfter("It is so, and", 1.1), 0U);
    EXPECT_EQ(finalsAfter("It is so, and", 1.3), 1U);
}

TEST_F(UtteranceTrackerTest, WhatMayBeAPauseIsDecodedAtOnceAndThatTextIsTheFinalOneIfItLasts) {
    say = [](const Job& job) { return "Is it " + std::to_string(job.to) + "?"; };
    hear({{2, 9}, {0.3, 0}});
    const auto early = jobs.back();
    EXPECT_EQ(early.kind, Job::Kind::Pause);
    EXPECT_LT(early.to, 32'000 + VoiceDetector::closeDelay);
    hear({{0.1, 9}, {0.3, 0}}); // it was none
    const auto second = jobs.back();
    EXPECT_GT(second.to, early.to);
    hear({{0.4, 0}});
    EXPECT_EQ(jobs.back().to, second.to);
    ASSERT_EQ(told(Kind::Final).size(), 1U);
    EXPECT_EQ(told(Kind::Final)[0].text, say(second));
}

TEST_F(UtteranceTrackerTest, AShortPauseAndAFragmentBeforeASentenceAreOneUtterance) {
    hear({{0.2, 9}, {0.6, 0}, {1, 9}, {0.4, 0}, {1, 9}, {1, 0}});
    ASSERT_EQ(told(Kind::Final).size(), 1U);
    EXPECT_GE(told(Kind::Final)[0].to, 50'000);
    events.clear();
    say = [](const Job&) { return ""; }; // no word was found in it
    hear({{0.2, 9}, {2, 0}});
    EXPECT_TRUE(events.empty());
    say = [](const Job& job) { return "to " + std::to_string(job.to); };
    hear({{1, 9}, {0.6, 0}, {1, 9}});
    finish();
    EXPECT_EQ(told(Kind::Final).back().text, "to " + std::to_string(heard)) << "all up to the end";
}

TEST_F(UtteranceTrackerTest, LongSpeechIsCutAtTheQuietestPlaceAndNothingIsLostOrDoubled) {
    say = [](const Job& job) { return job.isForFinal() ? "Part." : "Guess"; };
    hear({{1, 0}});
    for (int second = 0; second < 45; ++second)
        hear({{0.9, 900}, {0.1, 3}}); // quieter, but no pause
    hear({{1, 0}});
    finish();
    std::vector<Job> pieces = jobs;
    std::erase_if(pieces, [](const Job& job) { return !job.isForFinal(); });
    ASSERT_GE(pieces.size(), 5U);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        EXPECT_LE(pieces[i].to - pieces[i].from, UtteranceTracker::longestPiece);
        EXPECT_EQ(pieces[i].from, i == 0 ? pieces[0].from : pieces[i - 1].to);
        EXPECT_EQ(pieces[i].onset - pieces[i].from, i == 0 ? UtteranceTracker::preRoll : 0);
        if (i > 0) {
            EXPECT_NEAR(static_cast<double>(pieces[i].from % 16'000), 15'200, 800) << "in the quiet tenth";
        }
    }
    const auto finals = told(Kind::Final);
    ASSERT_EQ(finals.size(), 2U);
    EXPECT_EQ(finals[0].text, "Part Part Part.");
    EXPECT_EQ(finals[0].to, finals[1].from);
}

TEST_F(UtteranceTrackerTest, ItWaitsForTextsThatDecideAndFallsNoFurtherBehind) {
    decoding = false;
    hear({{1, 9}, {5, 0}});
    EXPECT_LT(tracker->taken(), 26'000) << "the words decide whether the pause is long enough";
    hear({{60, 9}});
    EXPECT_LT(tracker->taken(), 26'000);
    decoding = true;
    work();
    finish();
    EXPECT_EQ(told(Kind::End).size(), 1U);
    EXPECT_EQ(tracker->taken(), heard);
}

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

double power(const Samples& samples, std::size_t from, std::size_t count) {
    const auto part = std::span(samples).subspan(from, count);
    return std::inner_product(part.begin(), part.end(), part.begin(), 0.0) / static_cast<double>(count);
}

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
    EXPECT_EQ(withoutEnd("Did you see the?"), "Did you see the");
    EXPECT_EQ(withoutEnd("Mr. Smith, 你好。。"), "Mr. Smith, 你好");
    EXPECT_EQ(joinedAtCut("Did you?", "The house."), "Did you? The house.");
    EXPECT_EQ(joinedAtCut("We met.", "Anna there."), "We met Anna there.");
}

TEST(SettledWords, StayWhenTwoHypothesesAgreedOnThem) {
    SettledWords words;
    EXPECT_EQ(words.add("Why do you", false).settled, 0U);
    EXPECT_EQ(words.add("why do you").settled, 0U) << "the first was of too little speech to bear it out";
    EXPECT_EQ(words.add("why do you").settled, 6U) << "the last word may have been cut in two";
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
    EXPECT_EQ(withoutRepeats("Why do you want to work here and what do you want to work here and what do you want"),
              "Why do you want to work here and what do you want");
    EXPECT_FALSE(repeatsItself("tell me about your last job, tell me about your last job"));
    EXPECT_FALSE(repeatsItself("请介绍一下你自己，请介绍一下你自己"));
    EXPECT_EQ(mostTokens(10), 67U);
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
    EXPECT_LT(power(whole, 16'000, 8'000), 0.4 * power(samples, 16'000, 8'000));
    EXPECT_GT(power(whole, 32'400, 7'200), 0.5 * power(samples, 32'400, 7'200));
    EXPECT_LT(power(whole, 31'500, 400), 0.1 * power(whole, 32'100, 400)) << "it begins where it did";
}

TEST(NoiseReduction, IsHeardWhereThereIsMuchNoise) {
    const auto shareAt = [](const std::vector<float>& heard, const Samples& captured) {
        const float as = captured.back() / 32'768.0F;
        return (heard.back() - as) / (0.5F - as);
    };
    // Of 1.0 in the place of what is left: how much a model hears in a noise so many decibels below the sound.
    const auto share = [&shareAt](double decibels) {
        std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same noise every time
        std::normal_distribution<double> noise(0, 300);
        const double peak = 300 * std::sqrt(2) * std::pow(10, decibels / 20);
        Samples captured(48'000);
        for (std::size_t i = 0; i < captured.size(); ++i)
            captured[i] = static_cast<std::int16_t>(
                noise(random) + (i % 9'600 < 4'800 ? peak * std::sin(0.2 * static_cast<double>(i)) : 0));
        const auto heard = heardOf(captured, Samples(captured.size(), 16'384), 5'520);
        EXPECT_NEAR(static_cast<double>(captured.size() - heard.size()), (1 - shareAt(heard, captured)) * 2'000, 1)
            << "and how much of what comes before the speech";
        EXPECT_EQ(silenceBehind(captured, true) > 0, decibels > 30);
        return shareAt(heard, captured);
    };
    EXPECT_EQ(share(40), 0);
    EXPECT_EQ(share(20), 0);
    EXPECT_NEAR(share(17), 0.5, 0.2) << "three less over the pauses and all";
    EXPECT_EQ(share(13), 1);
}

TEST(Transcriber, HearsAFaintNoiseWhereThereIsNoSoundAtAll) {
    struct Listener : Transcriber {
        Transcript transcribe(std::span<const float> samples, Search, const Tokens&) override {
            heard.assign(samples.begin(), samples.end());
            return {"Tell mean", 2, 4, {1, 2}};
        }
        std::vector<float> heard;
    } listener;
    std::vector<float> samples(16'000, 0.1F);
    samples.resize(32'000);
    finalText(listener, samples);
    const std::span behind = std::span(listener.heard).subspan(16'000);
    const auto noise = std::inner_product(behind.begin(), behind.end(), behind.begin(), 0.0);
    EXPECT_NEAR(10 * std::log10(noise / 16'000 / (0.1 * 0.1 / 2)), -40, 0.5) << "dB below the level of the whole";
    const auto first = listener.heard;
    Tokens draft;
    partialText(listener, samples, draft);
    EXPECT_EQ(listener.heard, first) << "the same words are the same samples each time";
    EXPECT_EQ(draft.size(), 2U);
    EXPECT_EQ(partialText(listener, std::span(samples).first(9'000), draft), "Tell") << "of what may be cut, the sure";
}

TEST(DecodingLoad, ThereIsRoomForNoMoreStreamsWhileFinalsComeLate) {
    using namespace std::chrono_literals;
    const DecodingLoad::Clock::time_point now{};
    DecodingLoad load(2);
    EXPECT_EQ(load.capacity(now), 1U) << "nothing is known yet";
    load.add(10, 300ms, 0ms, now);
    EXPECT_EQ(load.capacity(now, 3), 26U);
    load.add(10, 300ms, 1s, now);
    EXPECT_EQ(load.capacity(now + 9s, 3), 3U);
    EXPECT_EQ(load.capacity(now + 11s, 3), 26U);
    for (int i = 0; i < 40; ++i)
        load.add(10, 5s, 0ms, now + 20s);
    EXPECT_EQ(load.capacity(now + 29s, 3), 1U);
    EXPECT_EQ(load.capacity(now + 31s, 3), 26U) << "nobody spoke since the machine was busy";
}

} // namespace
