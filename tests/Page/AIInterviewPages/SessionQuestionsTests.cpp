#include "SessionRig.h"

#include <Foundation/BackgroundQueue.h>

namespace parlowen {
namespace {

using ::testing::ElementsAre;
using testing::waitFor;

/// Questions, answers, and how a session closes.
class SessionQuestionsTest : public SessionRig {
protected:
    void openMode(int answerType) {
        single();
        settings_.setAiInterviewSetModel(interview(answerType));
        open();
    }
    std::vector<qint64> numbers() {
        std::vector<qint64> ids;
        for (const auto& model : page().streamModels())
            ids.push_back(model->id);
        return ids;
    }
};

TEST_F(SessionQuestionsTest, InAutomaticModeEverySentenceIsAskedAtOnceAndItsAnswerGrowsPieceByPiece) {
    openMode(0);
    final("Why this job?");
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(answerServer_.requests()[0].target.toStdString(), "/ai/meeting");
    EXPECT_EQ(question(0), (QJsonObject{{"type", 2},
                                        {"txt", "Why this job?"},
                                        {"prompt", "后端工程师"},
                                        {"original_language", "英语（美国）"},
                                        {"trans_language", ""}}));
    answerPiece("先说");
    ASSERT_TRUE(told("piece 1 先说"));
    answerPiece("结论");
    ASSERT_TRUE(told("piece 1 结论"));
    answerPiece("@@");
    answerServer_.endStream();
    ASSERT_TRUE(told("end 1 complete"));
    final("What is a mutex?");
    ASSERT_TRUE(asked(2));
    answerPiece("第二");
    ASSERT_TRUE(told("piece 2 第二"));
    EXPECT_THAT(numbers(), ElementsAre(0, 1));
    EXPECT_EQ(page().streamID(), 2);
    EXPECT_EQ(page().streamModels()[0]->responseText().toStdString(), "先说结论");
    EXPECT_FALSE(page().hasCollectedQuestions());
}

TEST_F(SessionQuestionsTest, AnAnswerThatFailsIsToldWithWhatCameOfIt) {
    openMode(0);
    final("One?");
    ASSERT_TRUE(asked(1));
    answerPiece("一半");
    ASSERT_TRUE(told("piece 1 一半"));
    answerServer_.endStream();
    EXPECT_TRUE(told("end 1 failed: the answer broke off"));
    EXPECT_EQ(page().streamModels()[0]->responseText().toStdString(), "一半");
    EXPECT_FALSE(log_.linesWith("❌ 流式连接错误：").isEmpty());
}

TEST_F(SessionQuestionsTest, InManualModeSentencesCollectAndEachPressStartsANewList) {
    openMode(1);
    for (const char* text : {"", "\n"}) {
        toast_.clear();
        page().setQuestionText(text);
        page().aiResponseTapped();
        EXPECT_EQ(toast_.toStdString(), "请输入文本");
    }
    EXPECT_EQ(page().streamID(), 0) << "an empty box sends nothing";
    page().setQuestionText({});
    for (const char* text : {"One.", "Two."})
        final(QString::fromUtf8(text));
    EXPECT_TRUE(page().hasCollectedQuestions());
    EXPECT_TRUE(page().streamModels().empty());
    page().aiResponseTapped();
    EXPECT_FALSE(page().hasCollectedQuestions());
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(question(0)["txt"].toString().toStdString(), "\nOne.\nTwo.");
    answerPiece("第一");
    ASSERT_TRUE(told("piece 1 第一"));

    const auto earlier = page().streamModels().at(0);
    page().setQuestionText("Three?");
    page().aiResponseTapped();
    ASSERT_TRUE(asked(2));
    EXPECT_THAT(numbers(), ElementsAre(1));
    earlier->append("还在说");
    earlier->complete();
    answerPiece("第二");
    ASSERT_TRUE(told("piece 2 第二"));
    EXPECT_EQ(earlier->responseText().toStdString(), "第一还在说") << "its stream goes on unseen";
    EXPECT_THAT(told_, ElementsAre("row 1 One.", "row 2 Two.", "question 1 \nOne.\nTwo.", "piece 1 第一",
                                   "end 1 dropped", "question 2 Three?", "piece 2 第二"));
}

TEST_F(SessionQuestionsTest, ClosingMidAnswerStopsEverythingOnce) {
    tick_ = std::chrono::milliseconds(5);
    openMode(0);
    final("One?");
    ASSERT_TRUE(asked(1));
    answerPiece("开始");
    ASSERT_TRUE(told("piece 1 开始"));
    ASSERT_TRUE(waitFor([this] { return page().useTimeCount() > 0; }));
    bool inFront = false;
    page().setMainWindow([&inFront] { inFront = true; });
    const auto model = page().streamModels().at(0);
    page().windowWillClose();
    EXPECT_TRUE(page().isClosing());
    EXPECT_FALSE(inFront) << "a moment later";
    EXPECT_EQ(told_.back(), "end 1 cut off");
    waitForBackground();
    EXPECT_FALSE(log_.linesWith("停止微软轮询").isEmpty());
    EXPECT_EQ(timer_->elapsedSeconds(), 0);
    EXPECT_TRUE(waitFor([this] { return speech().isClosed() && answerServer_.isConnectionClosed(); }));
    EXPECT_TRUE(waitFor([&inFront] { return inFront; }));
    EXPECT_EQ(model->responseText().toStdString(), "开始");
    EXPECT_TRUE(waitFor([this] { return !log_.linesWith("🗑️ 流式连接已取消").isEmpty(); }));
    EXPECT_TRUE(log_.linesWith("❌").isEmpty()) << "nothing went wrong";
    page().windowWillClose();
    EXPECT_EQ(router_.restored, 1) << "it closes once";

    const std::size_t before = told_.size();
    page().sendQuestion("迟到的问题");
    ASSERT_TRUE(asked(2));
    EXPECT_EQ(page().streamModels().size(), 2U) << "kept, though nobody is told";
    EXPECT_EQ(told_.size(), before);
    session_.reset();
    EXPECT_TRUE(waitFor([this] { return answerServer_.isConnectionClosed(); })) << "no answer outlives its session";
}

TEST_F(SessionQuestionsTest, ASecondSessionFollowsAFirstThatWasDestroyed) {
    openMode(0);
    final("One.");
    session_.reset();
    waitForBackground();
    EXPECT_FALSE(log_.linesWith("停止微软轮询").isEmpty());
    EXPECT_EQ(router_.restored, 1);
    EXPECT_TRUE(waitFor([this] { return speech().isClosed(); }));
    start();
    ASSERT_TRUE(waitFor([this] { return speechServer_.sessions.size() == 2 && !speech().turns.empty(); }));
    final("Again.");
    EXPECT_EQ(page().topArr().size(), 1U);
    EXPECT_EQ(page().streamModels().at(0)->id, 0);
}

} // namespace
} // namespace parlowen
