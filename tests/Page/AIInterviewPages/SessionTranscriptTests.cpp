#include "SessionRig.h"

#include <QAbstractItemModelTester>
#include <QScrollBar>
#include <QSignalSpy>
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

TEST_F(SessionTranscriptTest, TheSentenceInProgressIsTheLastRowAndRowsKnowWhenTheyBeganAndEnded) {
    open();
    const QAbstractItemModelTester tester(transcript().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    const QSignalSpy removed(transcript().model(), &QAbstractItemModel::rowsRemoved);
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
    page().setUseTimeCount(4);
    final("No partial.");
    page().setUseTimeCount(9);
    final("Nor here.");
    page().setUseTimeCount(12);
    partial("so tell");
    EXPECT_EQ(page().centerModel()->start, 12);
    EXPECT_EQ(page().centerModel()->end, 0);
    EXPECT_EQ(shown(transcript(), 2), "so tell");
    page().setUseTimeCount(15);
    partial("so tell me");
    page().setUseTimeCount(17);
    final("So tell me.");
    EXPECT_FALSE(page().centerModel());
    EXPECT_EQ(transcript().model()->rowCount(), 3);
    EXPECT_EQ(removed.count(), 0) << "it turns into a finished row in its place";
    EXPECT_EQ(transcript().model()->index(2, 0).data(Qt::AccessibleTextRole).toString().toStdString(), "3:So tell me.");
    EXPECT_TRUE(page().streamModels().empty()) << "without settings nothing is asked";
    const struct {
        std::optional<qint64> start;
        qint64 end;
    } times[] = {{std::nullopt, 4}, {4, 9}, {12, 17}};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(page().topArr()[i].start, times[i].start) << "of its first partial, or where the row before ended";
        EXPECT_EQ(page().topArr()[i].end, times[i].end) << i;
    }
    EXPECT_THAT(heard, ::testing::ElementsAre("final 0 No partial.", "final 1 Nor here.", "partial 2 so tell",
                                              "partial 2 so tell me", "final 2 So tell me."));
}

TEST_F(SessionTranscriptTest, ATwoLanguageInterviewShowsTheTranslation) {
    twoLanguages();
    open();
    translated("SpeechHypothesis", "tell me", "dime");
    EXPECT_EQ(shown(transcript(), 0), "tell me\ndime");
    translated("SpeechPhrase", "Tell me.", "Dime.");
    EXPECT_EQ(shown(transcript(), 0), "Tell me.\nDime.");
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
