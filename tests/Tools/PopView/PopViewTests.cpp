#include "Pixels.h"
#include <Tools/PopView/Alert.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/Windows.h>

namespace parlowen::testing {
namespace {

/// A window with a field that has the keyboard, over a button that counts its clicks.
struct PopViewTest : ::testing::Test {
    PopViewTest() {
        window_.resize(1000, 700);
        paintGround(window_, ground_);
        below_->setGeometry(window_.rect());
        below_->setFlat(true);
        field_->move(400, 10);
        QObject::connect(below_, &QPushButton::clicked, [this] { ++clicksBelow_; });
        window_.show();
        window_.activateWindow();
        EXPECT_TRUE(waitFor([this] { return QApplication::activeWindow() == &window_; }));
        field_->setFocus();
    }
    static QWidget* card(QSize size, QWidget* owner = nullptr) {
        auto* view = new QWidget(owner);
        view->resize(size);
        paintGround(*view, Qt::red);
        return view;
    }
    QPointer<MYCenterPopView> center(QWidget* container) { return MYCenterPopView::show(card({260, 260}), container); }
    void click(QPoint place, Qt::MouseButton button = Qt::LeftButton) {
        QTest::mouseClick(window_.windowHandle(), button, {}, place);
    }
    void drag(QPoint from, QPoint to) {
        QTest::mousePress(window_.windowHandle(), Qt::LeftButton, {}, from);
        QTest::mouseRelease(window_.windowHandle(), Qt::LeftButton, {}, to);
    }
    static bool ends(const QPointer<QWidget>& pop) {
        moveAnimations(*pop, 1);
        return waitFor([&pop] { return pop.isNull(); });
    }

    const QColor ground_{200, 220, 240};
    QWidget window_;
    QPushButton* below_ = new QPushButton(&window_);
    QLineEdit* field_ = new QLineEdit(&window_);
    int clicksBelow_ = 0;
};

TEST_F(PopViewTest, ACardThatIsTooLargeIsAsLargeAsItsWindowAllowsUntilThatGrows) {
    auto* tip = new CommonTipView;
    const QSize own(900, tip->heightForWidth(900));
    tip->resize(own);
    window_.resize(300, 400);
    const auto* pop = MYCenterPopView::show(tip, &window_);
    EXPECT_TRUE(pop->rect().contains(tip->geometry()));
    EXPECT_GE(tip->height(), tip->heightForWidth(tip->width())) << "its text gets longer";
    window_.resize(1000, 700);
    EXPECT_EQ(tip->size(), own);
}

TEST_F(PopViewTest, ACardFadesInInTheMiddleAndLeavesNothing) {
    const auto before = QApplication::allWidgets().size();
    const QPointer<MYCenterPopView> pop = center(&window_);
    EXPECT_EQ(pop->objectName().toStdString(), "MYCenterPopView");
    EXPECT_EQ(pop->contentAlpha(), 0);
    moveAnimations(*pop, 0.5);
    EXPECT_THAT(shot(window_).pixelColor(500, 350), Looks(over(Qt::red, 0.5, ground_)));
    moveAnimations(*pop, 1);
    EXPECT_EQ(extent(shot(window_), [](const QColor& c) { return c == Qt::red; }), QRect(370, 220, 260, 260));
    window_.resize(800, 600);
    EXPECT_EQ(pop->contentView()->geometry(), QRect(270, 170, 260, 260)) << "it follows its container";
    click({20, 20});
    EXPECT_EQ(clicksBelow_, 0);
    pop->setEnableGes(false);
    click({20, 20});
    click({400, 300});
    EXPECT_EQ(clicksBelow_, 1) << "beside the card alone";
    closeCurrentPopView();
    EXPECT_EQ(pop->contentAlpha(), 1) << "it fades out";
    EXPECT_TRUE(ends(pop.data()));
    closeCurrentPopView();
    EXPECT_EQ(QApplication::allWidgets().size(), before);
}

TEST_F(PopViewTest, ClosingTakesTheLowestWhereverItIs) {
    const std::array pops{center(new QWidget(&window_)), center(&window_)};
    closeCurrentPopView();
    closeCurrentPopView();
    EXPECT_TRUE(pops[0]->isDismissing());
    EXPECT_FALSE(pops[1]->isDismissing()) << "a double click closes one";
    EXPECT_TRUE(ends(pops[0].data()));
    closeCurrentPopView();
    EXPECT_TRUE(ends(pops[1].data()));
}

TEST_F(PopViewTest, ACardShownAgainLeavesNoDeadPopUp) {
    QWidget owner;
    QWidget* view = card({260, 260}, &owner);
    const QPointer<PopView> first = MYCenterPopView::show(view, &window_);
    EXPECT_EQ(MYCenterPopView::show(view, &window_), first);
    first->dismiss();
    const QPointer<PopView> second = MYCenterPopView::show(view, &window_);
    const QPointer<PopView> third = MYBottomPopView::show(view, &window_);
    EXPECT_TRUE(waitFor([&] { return first.isNull() && second.isNull(); }));
    moveAnimations(*third, 1);
    EXPECT_EQ(view->geometry(), QRect(370, 440, 260, 260));
    third->dismiss();
    EXPECT_TRUE(ends(third.data()));
    EXPECT_EQ(view->parentWidget(), &owner);
    for (const bool isLeaving : {false, true}) {
        const QPointer<MYCenterPopView> pop = center(&window_);
        if (isLeaving)
            pop->dismiss();
        delete pop->contentView();
        EXPECT_TRUE(waitFor([&pop] { return pop.isNull(); })) << "a deleted card takes its pop-up along";
    }
    click({20, 20});
    EXPECT_EQ(clicksBelow_, 1);
}

TEST_F(PopViewTest, OnlyALeftClickBesideABottomCardDismisses) {
    const QPointer<MYBottomPopView> pop = MYBottomPopView::show(card({400, 180}), &window_);
    const QWidget& view = *pop->contentView();
    EXPECT_EQ(view.y(), 700);
    moveAnimations(*pop, 0.5);
    window_.resize(1000, 800);
    moveAnimations(*pop, 1);
    EXPECT_EQ(view.geometry(), QRect(300, 620, 400, 180)) << "at the edge of a container that grew meanwhile";
    click({500, 700});
    click({20, 20}, Qt::RightButton);
    drag({500, 700}, {20, 20});
    drag({20, 20}, {500, 700});
    pop->enableGesture = false;
    click({20, 20});
    EXPECT_FALSE(pop->isDismissing());
    pop->enableGesture = true;
    click({299, 700});
    EXPECT_TRUE(pop->isDismissing());
    moveAnimations(*pop, 0.99);
    EXPECT_GT(view.y(), 795) << "it slides out";
    EXPECT_EQ(clicksBelow_, 0);
}

TEST_F(PopViewTest, ATipKeepsTheKeyboardAndGivesItBack) {
    auto* tip = new CommonTipView(&window_);
    int sure = 0;
    tip->sureBlock = [&sure] { ++sure; };
    tip->configure("注销账号", QString("注销后所有的数据都会被删除。").repeated(6), "取消", "确定");
    for (const bool isSure : {false, true}) {
        const QPointer<PopView> pop = MYCenterPopView::show(tip, &window_);
        const QLabel& text = *tip->contentLabel();
        EXPECT_GE(text.height(), text.heightForWidth(text.width())) << "the whole text is there";
        EXPECT_FALSE(field_->hasFocus());
        for (QWidget* next : {tip->cancelButton(), tip->sureButton(), tip->cancelButton()}) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            EXPECT_TRUE(next->hasFocus());
        }
        if (isSure)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        EXPECT_TRUE(field_->hasFocus());
        EXPECT_EQ(sure, isSure ? 1 : 0);
        EXPECT_TRUE(ends(pop.data()));
    }
    QPointer<PopView> pop = MYCenterPopView::show(tip, &window_);
    for (int i = 0; i < 2; ++i)
        click(tip->sureButton()->mapTo(&window_, tip->sureButton()->rect().center()));
    EXPECT_EQ(sure, 2) << "a double click is one answer";
    EXPECT_TRUE(ends(pop.data()));
    pop = MYCenterPopView::show(tip, &window_);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_TRUE(pop->isDismissing());
}

TEST_F(PopViewTest, APopoverFlipsAtTheEdgeAndClosesOnAClickBesideItAndOnEscape) {
    using Edge = Popover::Edge;
    const QRect screen(0, 0, 800, 600);
    const auto at = [&](QRect anchor, Edge edge) { return Popover::place(anchor, {200, 280}, edge, screen); };
    EXPECT_EQ(at({300, 100, 80, 30}, Edge::below).frame.top(), 130);
    EXPECT_EQ(at({300, 400, 80, 30}, Edge::below).frame.bottom(), 399);
    EXPECT_EQ(at({300, 100, 80, 30}, Edge::above).edge, Edge::below);
    EXPECT_EQ(at({700, 300, 80, 30}, Edge::right).edge, Edge::left);
    EXPECT_TRUE(screen.contains(at({780, 580, 20, 20}, Edge::below).frame));
    Popover popover(&window_);
    auto* content = new QLineEdit;
    popover.setContentView(content);
    window_.move(0, 0);
    for (const bool byKey : {false, true}) {
        popover.show(field_, Edge::below);
        ASSERT_TRUE(popover.isVisible());
        QTest::keyClicks(QApplication::focusWidget(), "Ja");
        EXPECT_TRUE(content->hasFocus());
        if (byKey)
            QTest::keyClick(content, Qt::Key_Escape);
        else
            QTest::mouseClick(&popover, Qt::LeftButton, {}, {-30, -5});
        EXPECT_FALSE(popover.isVisible());
        EXPECT_TRUE(waitFor([this] { return field_->hasFocus(); }));
    }
    EXPECT_EQ(content->text().toStdString(), "JaJa");
    popover.setContentView(new QLineEdit);
    popover.show(field_, Edge::below);
    EXPECT_EQ(popover.findChildren<QLineEdit*>(Qt::FindDirectChildrenOnly).size(), 2) << "until the old one is gone";
    const QPoint onAnchor = popover.mapFromGlobal(field_->mapToGlobal(field_->rect().center()));
    QTest::mousePress(&popover, Qt::LeftButton, {}, onAnchor);
    EXPECT_TRUE(popover.testAttribute(Qt::WA_NoMouseReplay)) << "on what opens it, a press would open it again";
}

TEST_F(PopViewTest, AnAlertWaitsForItsOneButtonEvenWithoutText) {
    const QPalette before = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(40, 40, 40), QColor(30, 30, 30)));
    for (const bool hasIcon : {false, true}) {
        QString shown;
        QTimer::singleShot(0, [&shown] {
            auto* alert = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            shown = QString::number(alert->buttons().size()) + alert->buttons().front()->text();
            EXPECT_FALSE(alert->iconPixmap().isNull());
            const auto& label = *alert->findChild<QLabel*>("qt_msgbox_label");
            EXPECT_GE(label.height(), label.heightForWidth(label.width())) << "it is shown whole";
            EXPECT_TRUE(label.wordWrap() || label.width() >= label.sizeHint().width());
            const QPalette colors = label.palette();
            EXPECT_LT(colors.color(QPalette::WindowText).lightness(), 100) << "on a dark desktop too";
            QTest::mouseClick(alert->buttons().front(), Qt::LeftButton);
        });
        showAlert(hasIcon ? QString("文件内容不是 PDF、Word 或 JPEG，请换一个文件。").repeated(2) : "", "",
                  hasIcon ? "logo" : "");
        EXPECT_EQ(shown.toStdString(), "1确定");
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    }
    QApplication::setPalette(before);
}

TEST(AlertPlaceTest, AnAlertStandsClearOfWhatItSpeaksOf) {
    const QRect card(100, 100, 300, 100), screen(0, 0, 1000, 800);
    const auto placed = [&](int x, int y) { return placeClearOf(card, {x, y, 200, 120}, screen); };
    EXPECT_EQ(placed(450, 120), QPoint(450, 120));
    EXPECT_EQ(placed(150, 190), QPoint(150, 211)) << "below, which is the nearest";
    EXPECT_EQ(placed(390, 90), QPoint(411, 90)) << "beside it";
    EXPECT_EQ(placeClearOf(screen, {150, 150, 200, 120}, screen), QPoint(150, 150)) << "there is no room";
}

TEST_F(PopViewTest, AllWindowsButOneAreClosedAnOpenAlertToo) {
    QWidget login;
    login.show();
    QTimer::singleShot(0, [&] { closeOtherWindows(&login); });
    showAlert("请求超时，请重试", "", "logo");
    EXPECT_FALSE(window_.isVisible());
    EXPECT_TRUE(login.isVisible());
}

} // namespace
} // namespace parlowen::testing
