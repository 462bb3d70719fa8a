#include "SessionRig.h"

#include <Network/ApiBase.h>

#include <QLabel>

namespace parlowen {
namespace {

using testing::waitFor;

class SessionStartTest : public SessionRig {
protected:
    std::string time() { return window_->findChild<QLabel*>("timeLabel")->text().toStdString(); }
};

TEST_F(SessionStartTest, ANewPageAsksForATokenAndTranslatesBetweenTheUsualLanguages) {
    openWindow();
    EXPECT_EQ(time(), "00:00:00");
    EXPECT_FALSE(page().isTranslating());
    EXPECT_TRUE(box().isReadOnly());
    ASSERT_TRUE(waitFor([this] { return page().isTranslating(); }));
    EXPECT_EQ(tokenServer_.requests().at(0).target.toStdString(), "/microsoft/get_token");
    EXPECT_FALSE(box().isReadOnly());
    ASSERT_TRUE(waitFor([this] { return !speechServer_.sessions.empty(); }));
    EXPECT_EQ(speech().url().query().toStdString(), "from=zh-CN&to=en&scenario=conversation");
}

TEST_F(SessionStartTest, TheClockShowsTheSecondsAsTheyPass) {
    tick_ = std::chrono::milliseconds(5);
    openWindow();
    EXPECT_TRUE(waitFor([this] { return page().useTimeCount() >= 3; }));
    close();
    page().setUseTimeCount(3'599);
    EXPECT_EQ(time(), "00:59:59");
    page().setUseTimeCount(360'061);
    EXPECT_EQ(time(), "100:01:01");
}

TEST_F(SessionStartTest, ARefreshedTokenChangesNothingOnScreen) {
    tick_ = std::chrono::milliseconds(1);
    single();
    open();
    const auto tool = page().speechTool();
    ASSERT_TRUE(waitFor([this] { return log_.lines().contains("[SpeechRecognitionTool] 更新 token"); }));
    EXPECT_EQ(log_.linesWith("Token 刷新成功").at(0).toStdString(),
              "Token 刷新成功，Token: t0, 区域: " + speechServer_.area().toStdString());
    EXPECT_EQ(page().speechTool(), tool);
    EXPECT_EQ(speechServer_.connections, 1) << "recognition is not restarted";
}

TEST_F(SessionStartTest, ATokenThatNeverComesLeavesTheClockRunning) {
    testing::ScriptedHttpServer mute;
    mute.enqueue(Reply::silence());
    ApiBase::setBuiltIn(mute.baseUrl());
    tick_ = std::chrono::milliseconds(5);
    openWindow();
    EXPECT_TRUE(waitFor([this] { return page().useTimeCount() > 5; }));
    EXPECT_FALSE(page().isTranslating());
    EXPECT_EQ(mute.requests().size(), 1U);
}

TEST_F(SessionStartTest, ARecognitionErrorIsLoggedAndReported) {
    single();
    QString reported;
    int started = 0;
    openWindow();
    AIInterviewDetailController::Observer observer;
    observer.recognitionStarted = [&started] { ++started; };
    observer.recognitionError = [&reported](const QString& message) { reported = message; };
    page().setObserver(observer);
    ASSERT_TRUE(waitFor([this] { return !speechServer_.sessions.empty() && !speech().turns.empty(); }));
    EXPECT_EQ(started, 1);
    speech().close(1007, "no such locale");
    ASSERT_TRUE(waitFor([&reported] { return !reported.isEmpty(); }));
    EXPECT_TRUE(log_.lines().contains(QString("识别错误：") + reported));
    EXPECT_TRUE(window_->isVisible()) << "the session stays open";
    EXPECT_EQ(status_.recognition().state, RecognitionStatus::State::Stopped);
    EXPECT_EQ(status_.recognition().cause, RecognitionStatus::Cause::BadSettings);
    EXPECT_EQ(status_.recognition().details.here(), reported);
}

} // namespace
} // namespace parlowen
