#include <Tools/PopView/MouseTracker.h>
#include <gmock/gmock.h>

#include <QTest>
#include <QWidget>
#include <memory>
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
        view_->setGeometry(50, 20, 40, 40);
    }

    void track(unsigned option = 0) {
        tracker_ = MouseTracker::attach(
            view_, [this](MouseMoveEvent event) { seen_.push_back(event); }, option);
        window_.show();
        ASSERT_TRUE(waitFor([this] { return window_.isVisible(); }));
        QTest::mouseMove(&window_, {5, 5});
        seen_.clear();
    }

    QWidget window_;
    QWidget* view_ = new QWidget(&window_);
    MouseTracker* tracker_ = nullptr;
    std::vector<MouseMoveEvent> seen_;
};

TEST_F(MouseTrackerTest, ReportsThePointerComingAndGoing) {
    track();
    QTest::mouseMove(view_, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered));
    EXPECT_EQ(tracker_->event(), entered);
    QTest::mousePress(view_, Qt::LeftButton, {}, {10, 10});
    QTest::mouseRelease(view_, Qt::LeftButton, {}, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered)) << "a press is no leaving unless asked for";
    QTest::mouseMove(&window_, {5, 5});
    EXPECT_THAT(seen_, ElementsAre(entered, exited));
    EXPECT_EQ(tracker_->event(), exited);
}

TEST_F(MouseTrackerTest, APressAndHidingCountAsLeaving) {
    track(mouseDownExits);
    QTest::mouseMove(view_, {10, 10});
    QTest::mousePress(view_, Qt::LeftButton, {}, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered, exited));
    QTest::mouseRelease(view_, Qt::LeftButton, {}, {10, 10});
    QTest::mouseMove(&window_, {5, 5});
    QTest::mouseMove(view_, {10, 10});
    seen_.clear();
    view_->hide();
    EXPECT_EQ(tracker_->event(), exited);
}

} // namespace
} // namespace parlowen
