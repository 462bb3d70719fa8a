#include "SessionRig.h"

#include <Tools/StreamModel.h>

#include <QAbstractItemModelTester>
#include <QJsonObject>
#include <QScrollBar>
#include <QTest>

namespace parlowen {
namespace {

using testing::waitFor;

class SessionQuestionsTest : public SessionRig {
protected:
    void openManual() {
        single();
        settings_.setAiInterviewSetModel(interview(1));
        open();
    }
    void pressAnswer() { QTest::mouseClick(&answerButton(), Qt::LeftButton); }
    std::vector<qint64> numbers() {
        std::vector<qint64> ids;
        for (const auto& model : page().streamModels())
            ids.push_back(model->id);
        return ids;
    }
    bool answerShows(int row, const std::string& text) {
        return waitFor([&] { return shown(answers(), row) == text; });
    }
};

TEST_F(SessionQuestionsTest, InAutomaticModeEverySentenceIsAskedAtOnceAndItsAnswerGrowsInARowOfItsOwn) {
    single();
    open();
    std::vector<std::string> grown;
    AIInterviewDetailController::Observer observer;
    observer.answerGrew = [&grown](const auto& model) { grown.push_back(model->responseText().toStdString()); };
    page().setObserver(observer);
    final("Why this job?");
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(answerServer_.requests()[0].target.toStdString(), "/ai/meeting");
    EXPECT_EQ(question(0), (QJsonObject{{"type", 2},
                                        {"txt", "Why this job?"},
                                        {"prompt", "后端工程师"},
                                        {"original_language", "英语（美国）"},
                                        {"trans_language", ""}}));
    answerPiece("先说");
    ASSERT_TRUE(answerShows(0, "先说"));
    answerPiece("结论");
    ASSERT_TRUE(answerShows(0, "先说结论"));
    EXPECT_THAT(grown, ::testing::ElementsAre("先说", "先说结论"));

    final("What is a mutex?");
    ASSERT_TRUE(asked(2));
    EXPECT_THAT(numbers(), ::testing::ElementsAre(0, 1));
    EXPECT_EQ(page().streamID(), 2);
    answerPiece("第二");
    ASSERT_TRUE(answerShows(1, "第二"));
    EXPECT_EQ(shown(answers(), 0), "先说结论");
}

TEST_F(SessionQuestionsTest, ATwoLanguageInterviewAsksTheSourceText) {
    twoLanguages();
    open();
    translated("SpeechPhrase", "Why?", "¿Por qué?");
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(question(0)["txt"].toString().toStdString(), "Why?");
    EXPECT_EQ(question(0)["trans_language"].toString().toStdString(), "西班牙语");
}

TEST_F(SessionQuestionsTest, AnAnswerOutOfSightKeepsCollecting) {
    single();
    open();
    for (std::size_t i = 0; i < 25; ++i)
        page().sendQuestion("问题");
    const auto first = page().streamModels().front();
    const auto last = page().streamModels().back();
    const int y = answers().rowViewportPosition(24);
    EXPECT_LT(y + answers().rowHeight(24), answers().viewport()->height()) << "the newest is in sight";
    first->append(QString("很长的回答。").repeated(80));
    ASSERT_TRUE(waitFor([&] { return shown(answers(), 0) == first->responseText().toStdString(); }));
    EXPECT_EQ(answers().rowViewportPosition(24), y) << "nothing that is read moves";

    answers().verticalScrollBar()->setValue(0);
    EXPECT_GT(answers().rowHeight(0), answers().viewport()->height() / 3);
    last->append("新");
    ASSERT_TRUE(waitFor([&] { return shown(answers(), 24) == "新"; }));
    EXPECT_EQ(answers().verticalScrollBar()->value(), 0);
}

TEST_F(SessionQuestionsTest, InManualModeSentencesCollectInTheBox) {
    openManual();
    pressAnswer();
    EXPECT_EQ(hud_.status().toStdString(), "请输入文本");
    EXPECT_EQ(page().streamID(), 0) << "an empty box sends nothing";
    EXPECT_FALSE(page().hasCollectedQuestions());
    for (const char* text : {"One.", "Two.", "Three."})
        final(QString::fromUtf8(text));
    EXPECT_EQ(box().toPlainText().toStdString(), "\nOne.\nTwo.\nThree.");
    EXPECT_TRUE(page().hasCollectedQuestions());
    EXPECT_TRUE(page().streamModels().empty());

    QTest::keyClick(&box(), Qt::Key_Home, Qt::ControlModifier);
    QTest::keyClicks(&box(), "Please: ");
    EXPECT_EQ(box().toPlainText().toStdString(), "\nPlease: One.\nTwo.\nThree.") << "the user may edit it";
    pressAnswer();
    EXPECT_TRUE(box().toPlainText().isEmpty());
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(question(0)["txt"].toString().toStdString(), "\nPlease: One.\nTwo.\nThree.");
}

TEST_F(SessionQuestionsTest, UndoingTakesNoSentenceAway) {
    openManual();
    final("One.");
    QTest::keyClick(&box(), Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(&box(), " Why");
    QTest::keyClick(&box(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(box().toPlainText().toStdString(), "\nOne.") << "only what was typed";
    QTest::keyClicks(&box(), " How");
    final("Two.");
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(&box(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(box().toPlainText().toStdString(), "\nOne. How\nTwo.");
}

TEST_F(SessionQuestionsTest, EachPressStartsANewListAndNumbersGoOn) {
    openManual();
    const QAbstractItemModelTester tester(answers().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    final("One.");
    pressAnswer();
    ASSERT_TRUE(asked(1));
    const auto earlier = page().streamModels().at(0);
    answerPiece("第一");
    ASSERT_TRUE(answerShows(0, "第一"));

    final("Two.");
    pressAnswer();
    ASSERT_TRUE(asked(2));
    EXPECT_THAT(numbers(), ::testing::ElementsAre(1));
    EXPECT_EQ(shown(answers(), 0), "");
    earlier->append("还在说");
    answerPiece("第二");
    ASSERT_TRUE(answerShows(0, "第二"));
    EXPECT_EQ(earlier->responseText().toStdString(), "第一还在说") << "its stream goes on unseen";
}

} // namespace
} // namespace parlowen
