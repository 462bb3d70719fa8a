#include "SessionRig.h"

#include <Page/AIInterviewPages/SessionLayout.h>

#include <QLabel>
#include <QMouseEvent>
#include <QTest>
#include <QWindow>

namespace parlowen {
namespace {

using testing::waitFor;

class SessionWindowTest : public SessionRig {
protected:
    QToolButton& pin() { return *window_->findChild<QToolButton*>("topImg"); }
    QLabel& tip() { return *window_->findChild<QLabel*>("tipLab"); }
    bool floats() { return window_->windowHandle()->flags().testFlag(Qt::WindowStaysOnTopHint); }

    /// Drags with the left button, as the window system's events would.
    void drag(QPoint from, QPoint way) {
        const QPoint start = window_->mapToGlobal(from);
        const auto send = [&](QEvent::Type type, QPoint global, Qt::MouseButtons held) {
            const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, window_->mapFromGlobal(global), global, button, held, Qt::NoModifier);
            QCoreApplication::sendEvent(window_.get(), &event);
        };
        send(QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(QEvent::MouseMove, start + way / 2, Qt::LeftButton);
        send(QEvent::MouseMove, start + way, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, start + way, Qt::NoButton);
    }
};

TEST_F(SessionWindowTest, AClickOnThePinLetsTheWindowGoAndTakesItBack) {
    openWindow();
    window_->activateWindow();
    ASSERT_TRUE(waitFor([this] { return window_->isActiveWindow(); }));
    EXPECT_EQ(window_->windowTitle().toStdString(), "AI面试");
    EXPECT_EQ(window_->size(), QSize(1000, 700));
    EXPECT_TRUE(floats());
    const QImage pinned = pin().grab().toImage();
    QTest::mouseMove(window_.get(), {300, 300});
    EXPECT_FALSE(tip().isVisible());
    QTest::mouseMove(&pin(), {13, 13});
    ASSERT_TRUE(waitFor([this] { return tip().isVisible(); }));
    EXPECT_EQ(tip().text().toStdString(), "取消置顶");
    EXPECT_EQ(tip().geometry().bottom() + 1, pin().y() - 2);
    EXPECT_NEAR(tip().geometry().center().x(), pin().geometry().center().x(), 1);

    QTest::mouseClick(&pin(), Qt::LeftButton);
    EXPECT_FALSE(page().isTop());
    EXPECT_FALSE(floats());
    EXPECT_TRUE(window_->isVisible());
    EXPECT_EQ(tip().text().toStdString(), "置顶");
    EXPECT_NE(pin().grab().toImage(), pinned) << "another picture";

    QTest::mouseClick(&pin(), Qt::LeftButton);
    EXPECT_TRUE(page().isTop());
    EXPECT_TRUE(floats());
    QTest::mouseMove(window_.get(), {300, 300});
    EXPECT_TRUE(waitFor([this] { return !tip().isVisible(); }));
}

TEST_F(SessionWindowTest, IsMovedByItsGroundAndResizedAtItsEdges) {
    openWindow();
    window_->setGeometry(100, 50, 1000, 700);
    drag({300, 20}, {40, 30});
    EXPECT_EQ(window_->geometry(), QRect(140, 80, 1000, 700));
    drag({998, 300}, {50, 0});
    EXPECT_EQ(window_->geometry(), QRect(140, 80, 1050, 700));
    drag({1, 698}, {30, -100});
    EXPECT_EQ(window_->geometry(), QRect(170, 80, 1020, 600));
    drag({500, 1}, {0, 20});
    EXPECT_EQ(window_->geometry(), QRect(170, 100, 1020, 580));
    drag({1018, 300}, {-2000, 0});
    EXPECT_EQ(window_->size(), QSize(window_->minimumWidth(), 580)) << "not smaller than it can be used";
    EXPECT_EQ(page().size(), window_->size());
    drag({1, 300}, {2000, 0});
    EXPECT_EQ(window_->geometry().left(), 170) << "its right edge stays";
}

TEST(SessionLayoutTest, NothingOverlapsOrLeavesThePageInTheSmallestWindowWithLargeText) {
    for (const int textHeight : {13, 20, 34}) { // of tips, at a font scale of 1, 1.5 and more
        const int header = SessionLayout::headerFor(textHeight * 14 / 10, textHeight);
        for (const bool manual : {false, true}) {
            const QRect page(0, 0, 480, 420);
            const SessionLayout layout =
                SessionLayout::of(page.size(), manual, {header, 6 * textHeight, 4 * textHeight, {900, header}});
            std::vector<QRect> below{layout.timeLabel, layout.transcript, layout.answers};
            if (manual)
                below.insert(below.begin() + 2, layout.questionBox);
            for (std::size_t i = 0; i < below.size(); ++i) {
                EXPECT_TRUE(page.contains(below[i])) << i;
                EXPECT_GE(below[i].height(), 26) << i;
                EXPECT_TRUE(i == 0 || below[i].top() > below[i - 1].bottom()) << i;
            }
            EXPECT_TRUE(page.contains(layout.tip({80, textHeight}))) << textHeight;
            EXPECT_GT(layout.status.left(), layout.timeLabel.right());
            EXPECT_LT(layout.status.right(), 240 - 2 * textHeight) << "not into the title";
            EXPECT_EQ(layout.pin.center().y(), layout.timeLabel.center().y());
            EXPECT_TRUE(!manual || layout.questionBox.contains(layout.answerButton));
        }
    }
}

} // namespace
} // namespace parlowen
