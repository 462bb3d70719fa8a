#include "HudFixture.h"


#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <support/CapturedLog.h>

namespace parlowen {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::waitFor;

class ProgressHUDTest : public HudFixture {};

TEST_F(ProgressHUDTest, AToastStaysAsLongAsItsTextAsksFor) {
    const std::vector<std::pair<int, double>> seconds{{0, 2}, {25, 2}, {30, 2.3}, {75, 5}, {100, 5}};
    for (const auto& [characters, expected] : seconds) {
        EXPECT_DOUBLE_EQ(hud_.toastSeconds(QString(characters, u'字')), expected);
        EXPECT_DOUBLE_EQ(hud_.toastSeconds(QString("😀").repeated(characters)), expected);
    }
    hud_.minimumDismissTimeInterval = 0.3;
    hud_.maximumDismissTimeInterval = 0.4;
    for (const bool isError : {false, true}) {
        QElapsedTimer clock;
        clock.start();
        isError ? hud_.error("没有麦克风") : hud_.toast("请输入文本");
        EXPECT_EQ(hud_.mode().kind(), isError ? ProgressHUDMode::error : ProgressHUDMode::text);
        ASSERT_TRUE(waitFor([this] { return !hud_.isVisible(); }));
        EXPECT_GE(clock.elapsed(), 350) << "0.3 s or more, and the fade";
    }
}

TEST_F(ProgressHUDTest, AppearsAndDisappearsWithItsNotifications) {
    int completed = 0;
    hud_.completionHandler = [&completed] { ++completed; };
    QElapsedTimer clock;
    clock.start();
    hud_.show("请输入文本", textMode);
    EXPECT_EQ(hud_.status().toStdString(), "请输入文本");
    EXPECT_EQ(hud_.alpha(), 0);
    EXPECT_THAT(posted_, ElementsAre("willAppear"));
    ASSERT_TRUE(waitFor([this] { return posted_.size() == 2; }));
    EXPECT_TRUE(isShown());
    EXPECT_GE(clock.elapsed(), 100) << "it fades in";
    EXPECT_EQ(hud_.geometry(), container_->rect());
    container_->resize(500, 300);
    EXPECT_EQ(hud_.geometry(), container_->rect());
    EXPECT_EQ(hud_.box().center().x(), 249) << "it is laid out anew";

    clock.restart();
    hud_.hideDelayed();
    EXPECT_TRUE(isShown());
    ASSERT_TRUE(waitFor([this] { return posted_.size() == 4; }));
    EXPECT_GE(clock.elapsed(), 100) << "it fades out";
    EXPECT_FALSE(hud_.isVisible());
    EXPECT_EQ(hud_.alpha(), 0);
    EXPECT_EQ(hud_.parentWidget(), nullptr);
    EXPECT_EQ(hud_.status(), QString());
    EXPECT_EQ(completed, 1);
    EXPECT_THAT(posted_, ElementsAre("willAppear", "didAppear", "willDisappear", "didDisappear"));

    hud_.show("再来", ProgressHUDMode::indeterminate);
    const QPointer<ProgressIndicatorLayer> spinner = hud_.progressIndicator();
    EXPECT_TRUE(spinner->isRunning());
    hud_.hideDelayed(0);
    EXPECT_FALSE(hud_.isVisible()) << "0 hides without a fade";
    EXPECT_FALSE(spinner->isRunning());
}

TEST_F(ProgressHUDTest, AHideMeetsALaterMessage) {
    hud_.show("一", textMode);
    hud_.performHideDelayed(1, 0.4);
    hud_.show("二", ProgressHUDMode::success);
    hud_.performHideDelayed(1, 30);
    EXPECT_EQ(hud_.status().toStdString(), "二");
    EXPECT_TRUE(waitFor([this] { return !hud_.isVisible(); })) << "the earlier one's timer hides it";

    hud_.show("一", textMode);
    hud_.performHideDelayed(1, 0.15);
    hud_.hide(false);
    hud_.show("二", textMode);
    EXPECT_TRUE(testing::holdsFor([this] { return hud_.isVisible(); }, 500)) << "a hide drops the scheduled ones";

    int completed = 0;
    hud_.completionHandler = [&completed] { ++completed; };
    posted_.clear();
    hud_.hide(true);
    hud_.show("三", textMode);
    ASSERT_TRUE(waitFor([this] { return isShown() && posted_.back() == "didAppear"; }));
    EXPECT_THAT(posted_, ElementsAre("willDisappear", "willAppear", "didAppear"));
    EXPECT_EQ(completed, 0) << "a fade that is overtaken does not hide";

    hud_.completionHandler = [this] {
        hud_.completionHandler = {};
        hud_.show("四", ProgressHUDMode::info);
    };
    hud_.hide(false);
    ASSERT_TRUE(waitFor([this] { return isShown(); }));
    EXPECT_EQ(hud_.status().toStdString(), "四") << "what is shown at its completion stays";
}

TEST_F(ProgressHUDTest, StaysWhereItIsWhileShownAndMovesOnceItsWindowIsClosed) {
    QWidget other;
    other.resize(300, 200);
    other.show();
    show("一", textMode);
    hud_.containerView = &other;
    hud_.show("二", textMode);
    EXPECT_EQ(hud_.parentWidget(), container_.get());
    container_->close();
    EXPECT_FALSE(hud_.isVisible());
    hud_.show("三", textMode);
    EXPECT_EQ(hud_.parentWidget(), &other);
    EXPECT_EQ(hud_.alpha(), 0) << "it comes up anew";
    ASSERT_TRUE(waitFor([this] { return isShown(); }));
    posted_.clear();
    other.close();
    hud_.performHideDelayed(1, 0);
    ASSERT_TRUE(waitFor([this] { return posted_.size() == 2; })) << "a hide finishes under a closed window";
    EXPECT_EQ(hud_.parentWidget(), nullptr);
}

TEST_F(ProgressHUDTest, OutlivesItsContainer) {
    hud_.show("一", ProgressHUDMode::determinate);
    container_.reset();
    EXPECT_FALSE(hud_.isVisible());
    EXPECT_THAT(posted_, ElementsAre("willAppear", "willDisappear", "didDisappear"));
    testing::CapturedLog log;
    hud_.minimumDismissTimeInterval = hud_.maximumDismissTimeInterval = 0;
    hud_.error("没有麦克风");
    EXPECT_FALSE(hud_.isVisible()) << "without a container nothing is shown";
    EXPECT_TRUE(log.lines().join(u' ').contains("没有麦克风")) << "nor lost";
    EXPECT_TRUE(testing::holdsFor([this] { return posted_.size() == 3; }, 50)) << "nor hidden";
}

TEST_F(ProgressHUDTest, StandsOverTheMainWindowBelowAClearWindowOfItsOwn) {
    const auto clearWindow = [] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->objectName() == "ProgressHUDWindow" && window->isVisible())
                return window;
        }
        return static_cast<QWidget*>(nullptr);
    };
    show("一", textMode);
    EXPECT_EQ(clearWindow(), nullptr);
    hud_.hide(false);
    hud_.containerView = nullptr;
    hud_.mainWindowContent = [this] { return container_.get(); };
    show("二", textMode);
    EXPECT_EQ(hud_.parentWidget(), container_.get());
    ASSERT_NE(clearWindow(), nullptr);
    EXPECT_EQ(clearWindow()->geometry(), QGuiApplication::screens().front()->geometry());
    EXPECT_TRUE(clearWindow()->windowFlags().testFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                                       Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus));
    hud_.hide(false);
    EXPECT_EQ(clearWindow(), nullptr);
}

struct MaskCase {
    const char* name;
    ProgressHUDMaskType mask;
    QColor color; ///< laid over the ground
    double alpha;
    bool passes;
};

class ProgressHUDMaskTest : public HudFixture, public ::testing::WithParamInterface<MaskCase> {};

TEST_P(ProgressHUDMaskTest, CoversTheWindowAndLetsClicksThroughOrNot) {
    QPushButton button(container_.get());
    button.setFlat(true);
    button.setGeometry(container_->rect());
    button.show();
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&clicks] { ++clicks; });
    hud_.maskType = GetParam().mask;
    show("请输入文本", textMode);
    const QImage before = picture();
    EXPECT_THAT(before.pixelColor(5, 5), Looks(over(GetParam().color, GetParam().alpha, ground_)));
    posted_.clear();
    hud_.maskType = GetParam().passes ? ProgressHUDMaskType::black() : ProgressHUDMaskType::none();
    hud_.opacity = 0;
    EXPECT_EQ(picture(), before) << "another look waits for the next show";
    int expected = 0;
    for (const QPoint place : {QPoint(20, 20), hud_.box().center()}) {
        QTest::mouseClick(container_->windowHandle(), Qt::LeftButton, {}, place);
        expected += GetParam().passes ? 1 : 0;
        EXPECT_EQ(clicks, expected);
    }
    EXPECT_THAT(posted_, ElementsAre("didReceiveMouseDownEvent", "didReceiveMouseDownEvent"));
    EXPECT_TRUE(testing::holdsFor([this] { return isShown(); }, 20)) << "a click alone does not hide it";

    hud_.dismissible = true;
    QTest::mouseClick(container_->windowHandle(), Qt::LeftButton, {}, {20, 20});
    EXPECT_TRUE(hud_.isVisible()) << "later, on the main queue, and with a fade";
    EXPECT_TRUE(waitFor([this] { return !hud_.isVisible(); }));
    posted_.clear();
    QTest::mouseClick(container_->windowHandle(), Qt::LeftButton, {}, {20, 20});
    EXPECT_THAT(posted_, IsEmpty()) << "a hidden overlay hears no clicks";
}

INSTANTIATE_TEST_SUITE_P(Masks, ProgressHUDMaskTest,
                         ::testing::Values(MaskCase{"none", ProgressHUDMaskType::none(), Qt::black, 0, true},
                                           MaskCase{"clear", ProgressHUDMaskType::clear(), Qt::black, 0, false},
                                           MaskCase{"black", ProgressHUDMaskType::black(), Qt::black, 0.6, false},
                                           MaskCase{"custom", ProgressHUDMaskType::custom(QColor(255, 0, 0, 51)),
                                                    Qt::red, 0.2, false}),
                         [](const auto& mask) { return std::string(mask.param.name); });

TEST_F(ProgressHUDTest, HundredsOfShowsLeaveNoWidgetBehind) {
    show("一", ProgressHUDMode::indeterminate); // the first makes the spinner that stays
    hud_.hide(false);
    const auto before = QApplication::allWidgets().size();
    const ProgressHUDMode::Kind kinds[] = {
        ProgressHUDMode::indeterminate, ProgressHUDMode::determinate, textMode,
        ProgressHUDMode::info,          ProgressHUDMode::success,     ProgressHUDMode::error};
    for (int i = 0; i < 300; ++i) {
        for (const auto kind : kinds)
            hud_.show(QString::number(i), kind);
        const QPointer<QWidget> view = new QLabel("★");
        hud_.show({}, ProgressHUDMode::custom(view));
        hud_.hide(false);
        EXPECT_TRUE(view.isNull());
    }
    EXPECT_EQ(QApplication::allWidgets().size(), before);
}

} // namespace
} // namespace parlowen
