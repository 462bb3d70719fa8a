#include "SessionRig.h"

#include <Network/ApiBase.h>

#include <QJsonDocument>

namespace parlowen {
namespace {

using testing::waitFor;
using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

/// Clock, token, recognition: how a session starts and what keeps it going.
class SessionStartTest : public SessionRig {};

TEST_F(SessionStartTest, ANewSessionAsksForATokenAndTranslatesBetweenTheUsualLanguages) {
    start();
    EXPECT_EQ(page().useTimeCount(), 0);
    EXPECT_EQ(page().fontSize(), 16);
    EXPECT_FALSE(page().isTranslating());
    ASSERT_TRUE(waitFor([this] { return page().isTranslating() && !speechServer_.sessions.empty(); }));
    EXPECT_EQ(tokenServer_.requests().at(0).target.toStdString(), "/microsoft/get_token");
    EXPECT_EQ(speech().url().query().toStdString(), "from=zh-CN&to=en&scenario=conversation");
}

TEST_F(SessionStartTest, ARefreshedTokenIsTakenOverWithoutStartingRecognitionAnew) {
    tick_ = std::chrono::milliseconds(1);
    single();
    open();
    const auto tool = page().speechTool();
    ASSERT_TRUE(waitFor([this] { return log_.lines().contains("[SpeechRecognitionTool] 更新 token"); }));
    EXPECT_EQ(log_.linesWith("Token 刷新成功").at(0).toStdString(),
              "Token 刷新成功，Token: t0, 区域: " + speechServer_.area().toStdString());
    EXPECT_GE(page().useTimeCount(), 480);
    EXPECT_EQ(page().speechTool(), tool);
    EXPECT_EQ(speechServer_.connections, 1);
}

TEST_F(SessionStartTest, ATokenThatNeverComesLeavesTheClockRunning) {
    testing::ScriptedHttpServer mute;
    mute.enqueue(Reply::silence());
    ApiBase::setBuiltIn(mute.baseUrl());
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
    EXPECT_EQ(tokenServer_.requests().size(), 2U);

    speechServer_.hangUpOnNext(1);
    page().setServiceStarting(true);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::LocalServiceStarts));
    page().setServiceStarting(false);
    ASSERT_TRUE(becomes(State::Recognizing));
}

TEST_F(SessionStartTest, AFirstTokenThatComesLateStartsRecognitionAndRefreshesThatFailDoNotEndIt) {
    testing::ScriptedHttpServer backend;
    for (int i = 0; i < 5; ++i)
        backend.enqueue(Reply::json(503, "down"));
    const QJsonObject access{{"token", "late"}, {"area", speechServer_.area()}};
    backend.enqueue(Reply::json(200, QJsonDocument(QJsonObject{{"code", 0}, {"data", access}}).toJson()));
    backend.enqueue(Reply::json(503, "down"));
    ApiBase::setBuiltIn(backend.baseUrl());
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

} // namespace
} // namespace parlowen
