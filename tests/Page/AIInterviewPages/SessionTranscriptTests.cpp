#include "SessionRig.h"

namespace parlowen {
namespace {

using ::testing::ElementsAre;

/// What a session makes of what it hears.
class SessionTranscriptTest : public SessionRig {
protected:
    SessionTranscriptTest() {
        single();
        settings_.setAiInterviewSetModel(std::nullopt); // nothing is asked
    }
};

TEST_F(SessionTranscriptTest, RowsKnowWhenTheyBeganAndEnded) {
    open();
    page().setUseTimeCount(4);
    final("No partial.");
    page().setUseTimeCount(9);
    final("Nor here.");
    page().setUseTimeCount(12);
    partial("so tell");
    EXPECT_EQ(page().centerModel()->end, 0);
    page().setUseTimeCount(15);
    partial("so tell me");
    EXPECT_EQ(page().centerModel()->start, 12);
    page().setUseTimeCount(17);
    final("So tell me.");
    EXPECT_FALSE(page().centerModel());
    EXPECT_TRUE(page().streamModels().empty()) << "without settings nothing is asked";
    const struct {
        std::optional<qint64> start;
        qint64 end;
    } times[] = {{std::nullopt, 4}, {4, 9}, {12, 17}};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(page().topArr()[i].start, times[i].start) << "of its first partial, or where the row before ended";
        EXPECT_EQ(page().topArr()[i].end, times[i].end) << i;
    }
    EXPECT_THAT(told_, ElementsAre("row 1 No partial.", "row 2 Nor here.", "partial 3 so tell", "partial 3 so tell me",
                                   "row 3 So tell me."));
}

TEST_F(SessionTranscriptTest, ATwoLanguageInterviewHasTheTranslationAndAsksTheSourceText) {
    twoLanguages();
    settings_.setAiInterviewSetModel(interview(0));
    open();
    translated("SpeechHypothesis", "why", "por qué");
    translated("SpeechPhrase", "Why?", "¿Por qué?");
    EXPECT_THAT(told_, ElementsAre("partial 1 why/por qué", "row 1 Why?/¿Por qué?", "question 1 Why?"));
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(question(0)["trans_language"].toString().toStdString(), "西班牙语");
}

TEST_F(SessionTranscriptTest, MissedSoundIsToldInItsPlaceAndInWholeSeconds) {
    open();
    final("One.");
    partial("tw");
    status_.addMissed(7.4);
    final("Two.");
    ASSERT_TRUE(told("missed 7 s")) << "behind the sentence that had begun";
    status_.addMissed(4.6);
    ASSERT_TRUE(told("missed 5 s"));
    EXPECT_THAT(told_, ElementsAre("row 1 One.", "partial 2 tw", "row 2 Two.", "missed 7 s", "missed 5 s"));
}

} // namespace
} // namespace parlowen
