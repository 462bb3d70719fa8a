#include "Streams/UtteranceTracker.h"

#include <gmock/gmock.h>

using namespace parlowen::recogniser;
using Job = UtteranceTracker::Job;
using Kind = StreamEvent::Kind;
using Clock = UtteranceTracker::Clock;

namespace {

constexpr std::int64_t window = VoiceDetector::windowLength;

/// A voice wherever the samples are not 0, with the delays of a real detector.
class LoudnessDetector : public VoiceDetector {
public:
    bool feed(const Window& samples) override {
        const bool voice = samples.front() != 0;
        voiced = voice ? voiced + window : 0;
        quiet = voice ? 0 : quiet + window;
        if (voiced >= onsetDelay)
            speaking = true;
        if (quiet > closeDelay)
            speaking = false;
        return speaking;
    }
    void reset() override {}

private:
    std::int64_t voiced = 0, quiet = 0;
    bool speaking = false;
};

class UtteranceTrackerTest : public ::testing::Test {
protected:
    /// Seconds of sound with this value, in pieces of 0.1 s, and all the work that comes up meanwhile.
    void hear(double seconds, std::int16_t value) {
        for (int i = 0; i < static_cast<int>(seconds * 10 + 0.5); ++i) {
            tracker->append(std::vector<std::int16_t>(1'600, value));
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
    /// Decodes into what `say` makes of it.
    void work() {
        while (decoding) {
            auto job = tracker->nextFinalJob();
            if (!job)
                job = tracker->nextPartialJob(now);
            if (!job)
                return;
            EXPECT_EQ(tracker->samplesOf(*job).size(), static_cast<std::size_t>(job->to - job->from));
            jobs.push_back(*job);
            tracker->onText(*job, say(*job), now, std::chrono::milliseconds(50));
        }
    }
    std::vector<StreamEvent> told(Kind kind) const {
        std::vector<StreamEvent> found;
        std::copy_if(events.begin(), events.end(), std::back_inserter(found),
                     [kind](const auto& event) { return event.kind == kind; });
        return found;
    }
    void begin(std::int64_t at = 0) {
        tracker = std::make_unique<UtteranceTracker>(at, std::make_unique<LoudnessDetector>(),
                                                     [this](const auto& event) { events.push_back(event); });
    }
    void SetUp() override { begin(); }

    std::vector<StreamEvent> events;
    std::vector<Job> jobs;
    std::function<std::string(const Job&)> say = [](const Job&) { return "It may be so."; };
    bool decoding = true;
    Clock::time_point now{};
    std::int64_t heard = 0;
    std::unique_ptr<UtteranceTracker> tracker;
};

} // namespace

TEST_F(UtteranceTrackerTest, AnUtteranceHasItsPlaceAndPartialsBeforeItsEnd) {
    hear(1, 0);
    hear(2, 9);
    hear(1, 0);
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

TEST_F(UtteranceTrackerTest, ThePauseThatEndsItDependsOnTheWords) {
    const auto finalsAfter = [this](const std::string& text, double pause) {
        events.clear();
        say = [text](const Job&) { return text; };
        hear(1, 9);
        hear(pause, 0);
        const auto count = told(Kind::Final).size();
        hear(3, 0);
        EXPECT_EQ(told(Kind::Final).size(), 1U);
        return count;
    };
    EXPECT_EQ(finalsAfter("Is it so?", 0.6), 1U);
    EXPECT_EQ(finalsAfter("It is so.", 0.6), 0U);
    EXPECT_EQ(finalsAfter("It is so.", 0.8), 1U);
    EXPECT_EQ(finalsAfter("It is so, and", 1.1), 0U);
    EXPECT_EQ(finalsAfter("It is so, and", 1.3), 1U);
}

TEST_F(UtteranceTrackerTest, AShortPauseAndAFragmentBeforeASentenceAreOneUtterance) {
    hear(0.2, 9);
    hear(0.6, 0);
    hear(1, 9);
    hear(0.4, 0);
    hear(1, 9);
    hear(1, 0);
    ASSERT_EQ(told(Kind::Final).size(), 1U);
    EXPECT_GE(told(Kind::Final)[0].to, 50'000);
    events.clear();
    say = [](const Job&) { return ""; }; // no word was found in it
    hear(0.2, 9);
    hear(2, 0);
    EXPECT_TRUE(events.empty());
}

TEST_F(UtteranceTrackerTest, LongSpeechIsCutAtTheQuietestPlaceAndNothingIsLostOrDoubled) {
    say = [](const Job& job) { return job.isForFinal() ? "Part." : "Guess"; };
    hear(1, 0);
    for (int second = 0; second < 45; ++second) {
        hear(0.9, 900);
        hear(0.1, 3); // quieter, but no pause
    }
    hear(1, 0);
    finish();
    std::vector<Job> pieces;
    std::copy_if(jobs.begin(), jobs.end(), std::back_inserter(pieces), [](const Job& job) { return job.isForFinal(); });
    ASSERT_GE(pieces.size(), 5U);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        EXPECT_LE(pieces[i].to - pieces[i].from, UtteranceTracker::longestPiece);
        EXPECT_EQ(pieces[i].from, i == 0 ? pieces[0].from : pieces[i - 1].to);
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
    hear(1, 9);
    hear(5, 0);
    EXPECT_LT(tracker->taken(), 26'000) << "the words decide whether the pause is long enough";
    hear(60, 9);
    EXPECT_LT(tracker->taken(), 26'000);
    decoding = true;
    work();
    finish();
    EXPECT_EQ(told(Kind::End).size(), 1U);
    EXPECT_EQ(tracker->taken(), heard);
}

TEST_F(UtteranceTrackerTest, AReplayFromWhereItIsNeededTellsTheSame) {
    const auto sound = [this](std::int64_t from) {
        const std::vector<std::pair<double, std::int16_t>> parts{{1, 0}, {1.5, 9}, {1.5, 0}, {1.2, 9}, {1, 0}};
        std::vector<std::int16_t> all;
        for (const auto& [seconds, value] : parts)
            all.insert(all.end(), static_cast<std::size_t>(seconds * sampleRate), value);
        return std::vector<std::int16_t>(all.begin() + from, all.end());
    };
    const auto whole = sound(0);
    for (std::size_t cut = 1'600; cut < whole.size(); cut += 3'200) {
        events.clear();
        begin();
        tracker->append(std::span(whole).first(cut));
        tracker->advance();
        work();
        const auto needed = tracker->needed();
        const auto before = told(Kind::Final).size();
        begin(needed);
        tracker->append(sound(needed));
        finish();
        const auto finals = told(Kind::Final);
        ASSERT_EQ(finals.size(), 2U) << cut << " " << before;
        EXPECT_NEAR(static_cast<double>(finals[0].from), 16'000, 2 * window) << cut;
        EXPECT_NEAR(static_cast<double>(finals[1].from), 64'000, 2 * window) << cut;
    }
}
