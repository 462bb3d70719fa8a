#include "Pixels.h"
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/MouseTracker.h>
#include <Tools/PopView/StyleSheets.h>
#include <support/CapturedLog.h>

namespace parlowen::testing {
namespace {

constexpr auto entered = MouseMoveEvent::entered;
constexpr auto exited = MouseMoveEvent::exited;

bool isDark(const QColor& color) { return color.lightness() < 100; }

struct MouseTrackerTest : ::testing::Test {
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
        seen_.clear();
    }
    MouseTracker* track(unsigned option = 0) {
        return MouseTracker::attach(
            view_, [this](MouseMoveEvent event) { seen_.push_back(event); }, option);
    }
    void enter() { QTest::mouseMove(view_, {10, 10}); }
    void leave() { QTest::mouseMove(&window_, {5, 5}); }

    std::vector<MouseMoveEvent> seen_; // outlives the window, which hides under the pointer
    QWidget window_;
    QWidget* view_ = new QWidget(&window_);
};

TEST_F(MouseTrackerTest, ReportsThePointerComingAndGoingAndTheViewMovingUnderIt) {
    const MouseTracker& tracker = *track();
    open();
    enter();
    QTest::mouseClick(view_, Qt::LeftButton, {}, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered)) << "a press is no leaving unless asked for";
    leave();
    EXPECT_THAT(seen_, ElementsAre(entered, exited));
    QCursor::setPos(window_.mapToGlobal(QPoint(120, 40)));
    view_->resize(100, 40);
    EXPECT_EQ(tracker.event(), entered) << "the view has grown under the pointer";
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationInactive);
    EXPECT_EQ(tracker.event(), exited);
    leave();
    enter();
    EXPECT_EQ(tracker.event(), exited) << "while another application is active";
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_EQ(tracker.event(), entered);
    view_->hide();
    EXPECT_EQ(tracker.event(), exited);
}

TEST_F(MouseTrackerTest, APressCountsAsLeavingAndEffectsLastWhileThePointerIsThere) {
    track(mouseDownExits);
    QMatrix4x4 aside;
    aside.translate(20, 0);
    applyHoverEffects(view_, {HoverEffect::cornerRadius(12), HoverEffect::background(QColor(255, 0, 0, 128)),
                              HoverEffect::transform(aside)});
    open();
    const QImage atRest = shot(window_);
    EXPECT_EQ(extent(atRest, [](const QColor& c) { return c == Qt::blue; }), view_->geometry());
    enter();
    const QImage hovered = shot(window_);
    EXPECT_THAT(hovered.pixelColor(71, 21), Looks(Qt::white)) << "the corner is rounded";
    EXPECT_THAT(hovered.pixelColor(75, 25), Looks(over(Qt::red, 128 / 255.0, Qt::blue)));
    EXPECT_THAT(hovered.pixelColor(55, 40), Looks(Qt::white)) << "the picture has moved away from here";
    QTest::mousePress(view_, Qt::LeftButton, {}, {10, 10});
    EXPECT_THAT(seen_, ElementsAre(entered, exited));
    QTest::mouseRelease(view_, Qt::LeftButton, {}, {10, 10});
    leave();
    EXPECT_EQ(shot(window_), atRest);
}

TEST(StyledPartsTest, FieldsKeepTheirTextInsideTheirGround) {
    EXPECT_EQ(hexColor(0xFF010203, -0.2).rgba(), QColor(1, 2, 3, 0).rgba());
    EXPECT_EQ(hexColor(0x19CFAE, 1.5).rgba(), QColor(25, 207, 174).rgba());
    PaddedTextField field;
    const QLineEdit plain;
    EXPECT_EQ(field.sizeHint(), plain.sizeHint() + QSize(16, 8));
    field.resize(300, 40);
    field.setText(QString(200, u'H'));
    const QRect typed = extent(shot(field).copy(3, 3, 294, 34), isDark);
    EXPECT_GE(typed.left(), 13);
    EXPECT_LE(typed.right(), 294 - 13);
    CustomBacTextField view;
    view.resize(200, 40);
    paintGround(view, Qt::white);
    view.setBackgroundColor(hexColor(theme::accent));
    view.setCornerRadius(8);
    EXPECT_THAT(shot(view).pixelColor(0, 0), Looks(Qt::white));
    view.textField()->setText("<b>one</b> two three four five six seven eight nine");
    const QRect ink = extent(shot(view), isDark);
    EXPECT_TRUE(ink.right() <= 200 - 8 && ink.height() < 20) << "cut at its tail, in one line inside the view";
}

TEST(StyledPartsTest, EveryPictureIsSharpAtBothScalesAndAMissingOneIsSeen) {
    static int run = 0; // each name is logged once
    QStringList names{QString("no-such-picture-%1").arg(++run)};
    for (const QString& file : QDir(":/icons").entryList())
        names << file.chopped(4);
    EXPECT_GT(names.size(), 30);
    CapturedLog log;
    for (const QString& name : names) {
        const QImage small = namedImage(name).pixmap(QSize(24, 24), 1.0).toImage();
        const QImage large = namedImage(name).pixmap(QSize(24, 24), 2.0).toImage();
        ASSERT_FALSE(small.isNull() || large.isNull()) << name.toStdString();
        EXPECT_NE(large, small.scaled(large.size()).convertToFormat(large.format())) << name.toStdString();
        EXPECT_GT(extent(large, [](const QColor& c) { return c.alpha() > 128; }).width(), 12) << name.toStdString();
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(::testing::ResultOf([](const QString& l) { return l.contains("no-such-picture"); }, true)));
}

} // namespace
} // namespace parlowen::testing
