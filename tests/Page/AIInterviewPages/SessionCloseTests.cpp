#include "SessionRig.h"

#include <Foundation/BackgroundQueue.h>
#include <Tools/StreamModel.h>

#include <QTest>

namespace parlowen {
namespace {

using testing::holdsFor;
using testing::waitFor;

class SessionCloseTest : public SessionRig {
protected:
    bool stopped() const { return !log_.linesWith("停止微软轮询").isEmpty(); }
};

TEST_F(SessionCloseTest, StopsEverythingAndBringsTheMainWindowBack) {
    tick_ = std::chrono::milliseconds(5);
    single();
    open();
    QWidget mainWindow;
    page().setMainWindow(&mainWindow);
    ASSERT_TRUE(waitFor([this] { return page().useTimeCount() > 0; }));
    QTest::mouseClick(window_->findChild<QToolButton*>("closeButton"), Qt::LeftButton);
    EXPECT_TRUE(page().isClosing());
    EXPECT_FALSE(window_->isVisible());
    EXPECT_EQ(router_.restored, 1);
    EXPECT_FALSE(mainWindow.isVisible()) << "a moment later";
    waitForBackground();
    EXPECT_TRUE(stopped());
    EXPECT_EQ(timer_->elapsedSeconds(), 0);
    EXPECT_TRUE(waitFor([this] { return speech().isClosed(); }));
    EXPECT_TRUE(waitFor([&mainWindow] { return mainWindow.isVisible(); }));
    page().windowWillClose();
    EXPECT_EQ(router_.restored, 1) << "it closes once";
}

TEST_F(SessionCloseTest, ClosingMidAnswerStopsItsText) {
    single();
    open();
    final("One?");
    ASSERT_TRUE(asked(1));
    answerPiece("开始");
    ASSERT_TRUE(waitFor([this] { return shown(answers(), 0) == "开始"; }));
    const auto model = page().streamModels().at(0);
    close();
    const int height = answers().contentHeight();
    answerPiece("还有");
    EXPECT_TRUE(waitFor([this] { return answerServer_.isConnectionClosed(); }));
    EXPECT_EQ(model->responseText().toStdString(), "开始");

    model->append("迟到");
    page().sendQuestion("迟到的问题");
    EXPECT_TRUE(holdsFor([this] { return shown(answers(), 0) == "开始"; }, 100));
    EXPECT_EQ(answers().contentHeight(), height);
    EXPECT_EQ(page().streamModels().size(), 2U) << "kept, though no list shows it";
    ASSERT_TRUE(asked(2));
    window_.reset();
    EXPECT_TRUE(waitFor([this] { return answerServer_.isConnectionClosed(); })) << "no answer outlives its page";
}

TEST_F(SessionCloseTest, BeforeTheFirstTokenThereIsNothingToStop) {
    openWindow();
    close();
    EXPECT_EQ(router_.restored, 1);
    EXPECT_FALSE(stopped());
    page().tokenDidFetch({"late", speechServer_.area()});
    EXPECT_FALSE(page().isTranslating());
    EXPECT_EQ(page().speechTool(), nullptr);
    EXPECT_EQ(speechServer_.connections, 0);
}

TEST_F(SessionCloseTest, ASecondSessionFollowsAFirstThatWasDestroyed) {
    single();
    open();
    final("One.");
    window_.reset();
    waitForBackground();
    EXPECT_TRUE(stopped());
    EXPECT_EQ(router_.restored, 1);
    EXPECT_TRUE(waitFor([this] { return speech().isClosed(); }));
    openWindow();
    ASSERT_TRUE(waitFor([this] { return speechServer_.sessions.size() == 2 && !speech().turns.empty(); }));
    EXPECT_TRUE(page().topArr().empty());
    final("Again.");
    EXPECT_EQ(shown(transcript(), 0), "Again.");
    EXPECT_EQ(page().streamModels().at(0)->id, 0);
}

} // namespace
} // namespace parlowen
