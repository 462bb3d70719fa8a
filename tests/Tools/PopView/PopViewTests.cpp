#include "Pixels.h"

#include <Tools/PopView/PopView.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTest>
#include <QWindow>
#include <memory>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

using testing::waitFor;

class PopViewTest : public ::testing::Test {
protected:
    PopViewTest() {
        window_.resize(1000, 700);
        paintGround(window_, ground_);
        below_->setGeometry(window_.rect());
        QObject::connect(below_, &QPushButton::clicked, [this] { ++clicksBelow_; });
        below_->setFlat(true);
        window_.show();
        window_.activateWindow();
        EXPECT_TRUE(waitFor([this] { return QApplication::activeWindow() == &window_; }));
    }

    static QWidget* card(QSize size, QWidget* owner = nullptr) {
        auto* view = new QWidget(owner);
        view->resize(size);
        paintGround(*view, Qt::red);
        return view;
    }
    static bool stands(const PopView* pop) {
        return waitFor([pop] { return pop->contentAlpha() == 1; });
    }
    QPointer<MYCenterPopView> center(QWidget* container) { return MYCenterPopView::show(card({260, 260}), container); }
    void click(QPoint place, Qt::MouseButton button = Qt::LeftButton) {
        QTest::mouseClick(window_.windowHandle(), button, {}, place);
    }

    const QColor ground_{200, 220, 240};
    QWidget window_;
    QPushButton* below_ = new QPushButton(&window_);
    int clicksBelow_ = 0;
};

TEST_F(PopViewTest, ACardFadesInInTheMiddleAndLeavesNothing) {
    const QPointer<MYCenterPopView> pop = center(&window_);
    const QPointer<QWidget> content = pop->contentView();
    EXPECT_EQ(pop->objectName().toStdString(), "MYCenterPopView");
    EXPECT_EQ(pop->geometry(), window_.rect());
    EXPECT_EQ(content->geometry(), QRect(370, 220, 260, 260));
    EXPECT_EQ(pop->contentAlpha(), 0);
    EXPECT_THAT(shot(window_).pixelColor(500, 350), Looks(ground_));
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() > 0.1; }));
    EXPECT_THAT(shot(window_).pixelColor(500, 350), Looks(over(Qt::red, pop->contentAlpha(), ground_)));
    ASSERT_TRUE(stands(pop));
    EXPECT_EQ(extent(shot(window_), [](const QColor& c) { return c == Qt::red; }), QRect(370, 220, 260, 260));
    window_.resize(800, 600);
    EXPECT_EQ(content->geometry(), QRect(270, 170, 260, 260)) << "it follows its container";

    QElapsedTimer clock;
    clock.start();
    closeCurrentPopView();
    ASSERT_TRUE(waitFor([&] { return pop.isNull() && content.isNull(); }));
    EXPECT_GE(clock.elapsed(), 100) << "it fades out";
    closeCurrentPopView();
}

TEST_F(PopViewTest, ClicksBesideACenteredCardEndThereUnlessLetThrough) {
    const QPointer<MYCenterPopView> pop = center(&window_);
    ASSERT_TRUE(stands(pop));
    EXPECT_TRUE(pop->enableGes());
    for (const QPoint place : {QPoint(20, 20), QPoint(500, 350)})
        click(place);
    EXPECT_EQ(clicksBelow_, 0);
    pop->setEnableGes(false);
    click({20, 20});
    EXPECT_EQ(clicksBelow_, 1);
    click({500, 350});
    EXPECT_EQ(clicksBelow_, 1) << "the card itself keeps its clicks";
    EXPECT_TRUE(testing::holdsFor([&] { return !pop.isNull() && pop->contentAlpha() == 1; }, 300));
}

TEST_F(PopViewTest, ClosingTakesTheLowestOfTheActiveWindowWhereverItIs) {
    QWidget elsewhere;
    elsewhere.setAttribute(Qt::WA_ShowWithoutActivating);
    elsewhere.show();
    window_.activateWindow();
    ASSERT_TRUE(waitFor([this] { return QApplication::activeWindow() == &window_; }));
    auto* nested = new QWidget(new QWidget(&window_));
    const std::array pops{center(nested), center(&window_), center(&window_), center(&elsewhere)};
    closeCurrentPopView();
    EXPECT_TRUE(pops[0]->isDismissing());
    EXPECT_FALSE(pops[1]->isDismissing());
    closeCurrentPopView();
    EXPECT_FALSE(pops[1]->isDismissing()) << "a double click closes one";
    for (const std::size_t next : {1U, 2U}) {
        ASSERT_TRUE(waitFor([&] { return pops[next - 1].isNull(); }));
        closeCurrentPopView();
        EXPECT_TRUE(pops[next]->isDismissing());
    }
    ASSERT_TRUE(waitFor([&] { return pops[2].isNull(); }));
    closeCurrentPopView();
    EXPECT_FALSE(pops[3]->isDismissing());
}

TEST_F(PopViewTest, ADeletedCardTakesItsPopUpAlong) {
    for (const bool isLeaving : {false, true}) {
        const QPointer<MYCenterPopView> pop = center(&window_);
        if (isLeaving)
            pop->dismiss();
        delete pop->contentView();
        EXPECT_TRUE(waitFor([&] { return pop.isNull(); }, 2000));
        click({20, 20});
        EXPECT_EQ(clicksBelow_, isLeaving ? 2 : 1);
    }
    auto* container = new QWidget(&window_);
    const QPointer<MYCenterPopView> pop = center(container);
    delete container;
    EXPECT_TRUE(pop.isNull());
}

TEST_F(PopViewTest, HundredsOfPopUpsLeaveNoWidgetBehind) {
    const auto before = QApplication::allWidgets().size();
    for (int i = 0; i < 300; ++i) {
        PopView* pop = i % 2 == 0 ? static_cast<PopView*>(MYCenterPopView::show(card({26, 26}), &window_))
                                  : MYBottomPopView::show(card({26, 26}), &window_);
        pop->dismiss();
    }
    EXPECT_GT(QApplication::allWidgets().size(), before + 500);
    EXPECT_TRUE(waitFor([&] { return QApplication::allWidgets().size() == before; }));
}

class BottomPopViewTest : public PopViewTest {
protected:
    BottomPopViewTest() { EXPECT_TRUE(stands(pop_)); }
    /// A drag from one place to another.
    void drag(QPoint from, QPoint to) {
        QTest::mousePress(window_.windowHandle(), Qt::LeftButton, {}, from);
        QTest::mouseRelease(window_.windowHandle(), Qt::LeftButton, {}, to);
    }

    QWidget owner_;
    QWidget* card_ = card({400, 180}, &owner_);
    QPointer<MYBottomPopView> pop_ = MYBottomPopView::show(card_, &window_);
};

TEST_F(BottomPopViewTest, OnlyALeftClickBesideTheCardDismisses) {
    ASSERT_TRUE(waitFor([this] { return card_->geometry() == QRect(300, 520, 400, 180); })) << "it slides in";
    click({500, 600});
    click({20, 20}, Qt::RightButton);
    drag({500, 600}, {20, 20});
    drag({20, 20}, {500, 600});
    pop_->enableGesture = false;
    click({20, 20});
    EXPECT_FALSE(pop_->isDismissing());
    pop_->enableGesture = true;
    click({299, 600});
    EXPECT_TRUE(pop_->isDismissing());
    EXPECT_EQ(clicksBelow_, 0);
    ASSERT_TRUE(waitFor([this] { return pop_.isNull() || pop_->contentAlpha() < 1; })) << "it fades out";
    ASSERT_TRUE(waitFor([this] { return pop_.isNull(); }));
    EXPECT_EQ(card_->pos(), QPoint(300, 700)) << "just below the bottom edge";
    EXPECT_EQ(card_->parentWidget(), &owner_);
    EXPECT_TRUE(card_->isHidden());
    pop_ = MYBottomPopView::show(card_, &window_);
    EXPECT_TRUE(stands(pop_)) << "it may be shown again";
}

TEST_F(PopViewTest, ABottomCardReachesTheEdgeOfAContainerThatGrowsMeanwhile) {
    const QPointer<MYBottomPopView> pop = MYBottomPopView::show(card({400, 180}), &window_);
    QWidget* content = pop->contentView();
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() > 0.1; }));
    ASSERT_LT(pop->contentAlpha(), 1);
    window_.resize(1200, 900);
    ASSERT_TRUE(stands(pop));
    EXPECT_TRUE(waitFor([&] { return content->geometry() == QRect(400, 720, 400, 180); }, 2000));
    EXPECT_TRUE(testing::holdsFor([&] { return content->y() == 720; }, 50));
}

} // namespace
} // namespace parlowen
