#include "SessionRig.h"

namespace parlowen::testing {
namespace {

using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

struct SessionQuestionsTest : SessionRig {
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
    EXPECT_TRUE(waitFor([this] { return !log_.linesWith("🗑️ 流式连接已取消").isEmpty(); })) << "no error";
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

class SessionStartTest : public SessionRig {};

TEST_F(SessionStartTest, ANewSessionAsksForATokenAndTranslatesBetweenTheUsualLanguages) {
    start();
    EXPECT_EQ(page().useTimeCount(), 0);
    EXPECT_EQ(page().fontSize(), 16);
    EXPECT_FALSE(page().isTranslating());
    EXPECT_EQ(page().subject().toStdString(), "后端工程师 · zh-CN → en");
    ASSERT_TRUE(waitFor([this] { return page().isTranslating() && !speechServer_.sessions.empty(); }));
    EXPECT_EQ(server_.requests().at(0).target.toStdString(), "/microsoft/get_token");
    EXPECT_EQ(speech().url().query().toStdString(), "from=zh-CN&to=en&scenario=conversation");
}

TEST_F(SessionStartTest, ARefreshedTokenIsTakenOverWithoutStartingRecognitionAnew) {
    tick_ = std::chrono::milliseconds(1);
    single();
    open();
    const auto tool = page().speechTool();
    ASSERT_TRUE(waitFor([this] { return log_.lines().contains("[SpeechRecognitionTool] 更新 token"); }));
    EXPECT_EQ(log_.linesWith("Token 刷新成功").at(0).toStdString(),
              "Token 刷新成功，Token: •••, 区域: " + speechServer_.area().toStdString());
    EXPECT_GE(page().useTimeCount(), 480);
    EXPECT_EQ(page().speechTool(), tool);
    EXPECT_EQ(speechServer_.connections, 1);
}

TEST_F(SessionStartTest, ATokenThatNeverComesLeavesTheClockRunning) {
    ScriptedHttpServer mute;
    mute.enqueue(Reply::silence());
    defaults_.setString("fuwuqi_key", mute.baseUrl());
    tick_ = std::chrono::milliseconds(5);
    start();
    EXPECT_TRUE(waitFor([this] { return page().useTimeCount() > 5; }));
    EXPECT_FALSE(page().isTranslating());
    page().windowWillClose();
    page().tokenDidFetch({"late", speechServer_.area()});
    EXPECT_EQ(page().speechTool(), nullptr) << "it is closed";
    EXPECT_EQ(router_.restored, 1);
    EXPECT_TRUE(log_.linesWith("停止微软轮询").isEmpty());
}

TEST_F(SessionStartTest, ARecognitionErrorIsLoggedAndTold) {
    single();
    open();
    speech().close(1007, "no such locale");
    ASSERT_TRUE(becomes(State::Stopped, Cause::BadSettings));
    const QString details = status_.recognition().details.here();
    EXPECT_TRUE(told("problem 0 " + details.toStdString()));
    EXPECT_TRUE(log_.lines().contains(QString("识别错误：") + details));
    EXPECT_FALSE(page().isClosing()) << "the session stays open";
}

TEST_F(SessionStartTest, ALostServiceShowsUntilItIsBackAndARefusedTokenIsReplaced) {
    single();
    open();
    ASSERT_TRUE(becomes(State::Recognizing));
    speechServer_.refuseNext(503, 2);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::ServiceBusy));
    ASSERT_TRUE(becomes(State::Recognizing));
    speechServer_.refuseNext(401);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::TokenRefused));
    ASSERT_TRUE(becomes(State::Recognizing));
    EXPECT_EQ(server_.requests().size(), 2U);
    speechServer_.hangUpOnNext(1);
    page().setServiceStarting(true);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::LocalServiceStarts));
    page().setServiceStarting(false);
    ASSERT_TRUE(becomes(State::Recognizing));
}

TEST_F(SessionStartTest, AFirstTokenThatComesLateStartsRecognitionAndRefreshesThatFailDoNotEndIt) {
    ScriptedHttpServer backend;
    for (int i = 0; i < 5; ++i)
        backend.enqueue(Reply::json(503, "down"));
    const QJsonObject access{{"token", "late"}, {"area", speechServer_.area()}};
    backend.enqueue(Reply::json(200, QJsonDocument(QJsonObject{{"code", 0}, {"data", access}}).toJson()));
    backend.enqueue(Reply::json(503, "down"));
    defaults_.setString("fuwuqi_key", backend.baseUrl());
    single();
    tick_ = std::chrono::milliseconds(3); // so the first refresh comes soon
    start();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::TokenMissing));
    ASSERT_TRUE(becomes(State::Recognizing));
    EXPECT_EQ(speech().header("Authorization"), "Bearer late");
    ASSERT_TRUE(waitFor([&] { return backend.requests().size() >= 10; })) << "four at once, and again";
    EXPECT_EQ(status_.recognition().state, State::Recognizing);
    final("Still here.");
    EXPECT_EQ(speechServer_.connections, 1);
}

struct SessionTranscriptTest : SessionRig {
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
    const std::pair<std::optional<qint64>, std::optional<qint64>> times[] = {{std::nullopt, 4}, {4, 9}, {12, 17}};
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(std::pair(page().topArr()[i].start, page().topArr()[i].end), times[i])
            << "of its first partial, or where the row before ended";
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
    told_.clear();
    translated("SpeechPhrase", "How?", "");
    translated("SpeechPhrase", "How?", "");
    translated("SpeechPhrase", "How?", "¿Cómo?");
    translated("SpeechPhrase", "How?", "¿Cómo?");
    EXPECT_THAT(told_, ElementsAre("row 2 How?", "question 2 How?", "row 3 How?", "question 3 How?",
                                   "translated 2 How?/¿Cómo?", "translated 3 How?/¿Cómo?"))
        << "a late translation reaches its row and asks nothing";
}

TEST_F(SessionTranscriptTest, MissedSoundIsToldInItsPlaceAndInWholeSeconds) {
    open();
    final("One.");
    partial("tw");
    status_.addMissed(7.4);
    final("Two.");
    ASSERT_TRUE(told("missed 7 s")) << "behind the sentence that had begun";
    status_.addMissed(4.3);
    ASSERT_TRUE(told("missed 5 s"));
    EXPECT_THAT(told_, ElementsAre("row 1 One.", "partial 2 tw", "row 2 Two.", "missed 7 s", "missed 5 s"));
}

} // namespace
} // namespace parlowen::testing
