#include "Pixels.h"

#include <Tools/PopView/MouseTracker.h>

#include <QApplication>
#include <QTest>
#include <support/WaitFor.h>
#include <vector>

namespace parlowen {
namespace {

using ::testing::ElementsAre;
using testing::waitFor;
constexpr auto entered = MouseMoveEvent::entered;
constexpr auto exited = MouseMoveEvent::exited;

class MouseTrackerTest : public ::testing::Test {
protected:
    MouseTrackerTest() {
        window_.resize(200, 100);
        paintGround(window_, Qt::white);
        view_->setGeometry(50, 20, 40, 40);
        paintGround(*view_, Qt::blue);
    }

    void open() {
        window_.show();
        ASSERT_TRUE(waitFor([] { return QApplication::applicationState() == Qt::ApplicationActive; }));
        leave();
    }
    void track(unsigned option = 0) {
        tracker_ = MouseTracker::attach(
            view_, [this](MouseMoveEvent event) { seen_.push_back(event); }, option);
        open();
        seen_.clear();
    }
    void enter() { QTest::mouseMove(view_, {10, 10}); }
    void leave() { QTest::mouseMove(&window_, {5, 5}); }

    std::vector<MouseMoveEvent> seen_; // outlives the window, which hides under the pointer
    QWidget window_;
    QWidget* view_ = new QWidget(&window_);
    MouseTracker* tracker_ = nullptr;
};

TEST_F(MouseTrackerTest, ReportsThePointerComingAndGoing) {
    track();
    enter();
    EXPECT_THAT(seen_, ElementsAre(entered));
    EXPECT_EQ(tracker_->event(), entered);
    QTest::mousePress(view_, Qt::LeftButton, {}, {10, 10});
    QTest::mouseRelease(view_, Qt::LeftButton, {}, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered)) << "a press is no leaving unless asked for";
    leave();
    EXPECT_THAT(seen_, ElementsAre(entered, exited));
    EXPECT_EQ(tracker_->event(), exited);
}

TEST_F(MouseTrackerTest, APressAndHidingCountAsLeaving) {
    track(mouseDownExits);
    enter();
    QTest::mousePress(view_, Qt::LeftButton, {}, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered, exited));
    QTest::mouseRelease(view_, Qt::LeftButton, {}, {10, 10});
    leave();
    enter();
    view_->hide();
    EXPECT_EQ(tracker_->event(), exited);
}

TEST_F(MouseTrackerTest, LooksWhereThePointerIsWhenTheViewChanges) {
    track();
    view_->resize(30, 30);
    EXPECT_THAT(seen_, ElementsAre(exited));
    QCursor::setPos(window_.mapToGlobal(QPoint(120, 40)));
    view_->resize(100, 40);
    EXPECT_EQ(tracker_->event(), entered) << "the view has grown under the pointer";
    view_->resize(40, 40);
    EXPECT_EQ(tracker_->event(), exited);
}

TEST_F(MouseTrackerTest, WhileAnotherApplicationIsActiveThePointerCountsAsOutside) {
    track();
    enter();
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationInactive);
    EXPECT_EQ(tracker_->event(), exited);
    leave();
    enter();
    EXPECT_EQ(tracker_->event(), exited);
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_EQ(tracker_->event(), entered);
}

TEST_F(MouseTrackerTest, EffectsLastWhileThePointerIsThere) {
    QMatrix4x4 aside;
    aside.translate(20, 0);
    applyHoverEffects(view_, {HoverEffect::cornerRadius(12), HoverEffect::background(QColor(255, 0, 0, 128)),
                              HoverEffect::transform(aside)});
    open();
    const QImage atRest = shot(window_);
    EXPECT_EQ(extent(atRest, [](const QColor& c) { return c == Qt::blue; }), view_->geometry());
    enter();
    const QImage hovered = shot(window_);
    const QColor mixed = over(Qt::red, 128 / 255.0, Qt::blue);
    EXPECT_EQ(extent(hovered, [&](const QColor& c) { return isNear(c, mixed, 2); }), QRect(70, 20, 40, 40));
    EXPECT_THAT(hovered.pixelColor(71, 21), Looks(QColor(Qt::white))) << "the corner is rounded";
    EXPECT_THAT(hovered.pixelColor(75, 25), Looks(mixed));
    EXPECT_THAT(hovered.pixelColor(55, 40), Looks(QColor(Qt::white))) << "the picture has moved away from here";
    leave();
    EXPECT_EQ(shot(window_), atRest);
}

} // namespace
} // namespace parlowen
