#include "SessionRig.h"

#include <QScrollBar>
#include <QWheelEvent>

namespace parlowen {
namespace {

using testing::waitFor;

class SessionTranscriptTest : public SessionRig {
protected:
    SessionTranscriptTest() {
        single();
        settings_.setAiInterviewSetModel(std::nullopt); // nothing is asked
        settings_.setAiInterviewType(1);
    }

    /// Turns the wheel; notches above 0 scroll back.
    void wheel(int notches) {
        QWidget* view = transcript().viewport();
        const QPointF center = view->rect().center();
        for (int i = 0; i < std::abs(notches); ++i) {
            QWheelEvent event(center, view->mapToGlobal(center), {}, {0, notches > 0 ? 120 : -120}, Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(view, &event);
        }
    }
};

TEST_F(SessionTranscriptTest, RowsKnowWhenTheyBeganAndEnded) {
    open();
    page().setUseTimeCount(4);
    final("No partial before it.");
    EXPECT_EQ(page().topArr()[0].start, std::nullopt);
    EXPECT_EQ(page().topArr()[0].end, 4);

    page().setUseTimeCount(9);
    final("No partial either.");
    EXPECT_EQ(page().topArr()[1].start, 4) << "where the row before ended";
    final("In the same second.");
    EXPECT_EQ(page().topArr()[2].end, 9);

    page().setUseTimeCount(12);
    partial("so tell");
    EXPECT_EQ(page().centerModel()->start, 12);
    EXPECT_EQ(page().centerModel()->end, 0);
    page().setUseTimeCount(15);
    partial("so tell me");
    EXPECT_EQ(page().centerModel()->start, 12) << "it stays with the sentence";
    page().setUseTimeCount(17);
    final("So tell me.");
    EXPECT_EQ(page().topArr()[3].start, 12);
    EXPECT_EQ(page().topArr()[3].end, 17);
    EXPECT_FALSE(page().centerModel());
}

TEST_F(SessionTranscriptTest, TheSentenceInProgressIsTheLastRow) {
    open();
    EXPECT_EQ(transcript().model()->rowCount(), 0);
    partial("tell");
    EXPECT_EQ(transcript().model()->rowCount(), 1);
    EXPECT_EQ(shown(transcript(), 0), "tell");
    final("Tell me.");
    EXPECT_EQ(transcript().model()->rowCount(), 1);
    EXPECT_EQ(shown(transcript(), 0), "Tell me.");

    KXTranslationHistoryDetailsModel expected;
    expected.sourceText = "Tell me.";
    expected.start = 0;
    expected.end = 0;
    EXPECT_EQ(page().topArr()[0], expected);
}

TEST_F(SessionTranscriptTest, ATwoLanguageInterviewShowsTheTranslation) {
    twoLanguages();
    open();
    translated("SpeechHypothesis", "tell me", "dime");
    EXPECT_EQ(shown(transcript(), 0), "tell me\ndime");
    translated("SpeechPhrase", "Tell me.", "Dime.");
    EXPECT_EQ(shown(transcript(), 0), "Tell me.\nDime.");
    EXPECT_EQ(page().topArr()[0].resultText.toStdString(), "Dime.");
    EXPECT_TRUE(page().streamModels().empty());
}

TEST_F(SessionTranscriptTest, TheObserverHearsOfRowsOnceTheyAreShown) {
    open();
    std::vector<std::string> heard;
    AIInterviewDetailController::Observer observer;
    observer.partial = [&](const auto& row, int index) {
        heard.push_back("partial " + std::to_string(index) + " " + row.sourceText.toStdString());
    };
    observer.final = [&](const auto& row, int index) {
        EXPECT_EQ(shown(transcript(), index), row.sourceText.toStdString());
        heard.push_back("final " + std::to_string(index) + " " + row.sourceText.toStdString());
    };
    page().setObserver(observer);
    final("One.");
    partial("two");
    final("Two.");
    EXPECT_THAT(heard, ::testing::ElementsAre("final 0 One.", "partial 1 two", "final 1 Two."));
}

TEST_F(SessionTranscriptTest, TheListFollowsTheTalkUnlessTheReaderScrolledBack) {
    open();
    const QScrollBar& bar = *transcript().verticalScrollBar();
    for (int i = 0; i < 16; ++i)
        final(QString("Please tell me about a project that you are proud of, number %1.").arg(i));
    EXPECT_GT(bar.maximum(), 0);
    EXPECT_EQ(bar.value(), bar.maximum());

    wheel(3);
    partial("the wheel turns while rows come");
    wheel(1);
    const int place = bar.value();
    ASSERT_FALSE(transcript().isNearBottom());
    for (int i = 0; i < 5; ++i) {
        partial(QString("and now %1").arg(i));
        EXPECT_EQ(bar.value(), place);
        final(QString("And now number %1.").arg(i));
        EXPECT_EQ(bar.value(), place);
    }

    while (!transcript().isNearBottom())
        wheel(-1);
    partial("back at the end");
    EXPECT_EQ(bar.value(), bar.maximum());
}

} // namespace
} // namespace parlowen
