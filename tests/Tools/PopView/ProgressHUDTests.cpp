#include "Pixels.h"
#include <Foundation/NotificationCenter.h>
#include <Tools/PopView/ProgressHUD.h>
#include <support/CapturedLog.h>

namespace parlowen::testing {
namespace {

constexpr auto textMode = ProgressHUDMode::text;

struct ProgressHUDTest : ::testing::Test {
    ProgressHUDTest() {
        container_->resize(600, 400);
        paintGround(*container_, ground_);
        container_->show();
        hud_.containerView = container_.get();
        for (const char* name :
             {"willAppear", "didAppear", "willDisappear", "didDisappear", "didReceiveMouseDownEvent"}) {
            NotificationCenter::shared().observe(QString("ProgressHUD.") + name, &observer_,
                                                 [this, name](const Notification& notification) {
                                                     EXPECT_EQ(notification.object, &hud_);
                                                     posted_.emplace_back(name);
                                                 });
        }
    }
    void show(const QString& text, const ProgressHUDMode& mode) {
        hud_.show(text, mode);
        moveAnimations(hud_, 1);
        ASSERT_EQ(hud_.alpha(), 1);
    }
    QImage picture() { return shot(*container_); }
    /// A colour of the indicator, `place` from its top left corner.
    QColor inIndicator(QPointF place) {
        return picture().pixelColor(hud_.indicator()->mapTo(container_.get(), place.toPoint()));
    }
    void click(QPoint place) { QTest::mouseClick(container_->windowHandle(), Qt::LeftButton, {}, place); }

    const QColor ground_{200, 220, 240};
    QObject observer_;
    std::vector<std::string> posted_;
    std::unique_ptr<QWidget> container_ = std::make_unique<QWidget>();
    ProgressHUD hud_;
};

TEST_F(ProgressHUDTest, AToastStaysAsLongAsItsTextAsksFor) {
    for (const auto& [characters, seconds] : {std::pair(0, 2.0), {25, 2.0}, {30, 2.3}, {75, 5.0}, {100, 5.0}})
        EXPECT_DOUBLE_EQ(hud_.toastSeconds(QString("😀").repeated(characters)), seconds);
    hud_.minimumDismissTimeInterval = hud_.maximumDismissTimeInterval = 0.01;
    for (const bool isError : {false, true}) {
        isError ? hud_.error("没有麦克风") : hud_.toast("请输入文本");
        EXPECT_EQ(hud_.mode().kind(), isError ? ProgressHUDMode::error : textMode);
        EXPECT_TRUE(waitFor([this] { return !hud_.isVisible(); }));
    }
}

TEST_F(ProgressHUDTest, FadesInAndOutWithItsNotifications) {
    int completed = 0;
    hud_.completionHandler = [&completed] { ++completed; };
    hud_.show("请输入文本", textMode);
    EXPECT_EQ(hud_.alpha(), 0);
    moveAnimations(hud_, 0.5);
    EXPECT_NEAR(hud_.alpha(), 0.5, 0.1);
    EXPECT_THAT(posted_, ElementsAre("willAppear"));
    moveAnimations(hud_, 1);
    EXPECT_THAT(posted_, ElementsAre("willAppear", "didAppear"));
    container_->resize(500, 300);
    EXPECT_EQ(hud_.geometry(), container_->rect());
    EXPECT_EQ(hud_.box().center().x(), 249) << "it is laid out anew";
    hud_.hideDelayed();
    EXPECT_EQ(completed, 0);
    moveAnimations(hud_, 0.5);
    EXPECT_NEAR(hud_.alpha(), 0.5, 0.1);
    moveAnimations(hud_, 1);
    EXPECT_FALSE(hud_.isVisible());
    EXPECT_EQ(hud_.parentWidget(), nullptr);
    EXPECT_EQ(hud_.status(), QString());
    EXPECT_EQ(completed, 1);
    EXPECT_THAT(posted_, ElementsAre("willAppear", "didAppear", "willDisappear", "didDisappear"));
    hud_.show("再来", ProgressHUDMode::indeterminate);
    const ProgressIndicatorLayer& spinner = *hud_.progressIndicator();
    const int first = spinner.fposition();
    EXPECT_TRUE(waitFor([&] { return spinner.fposition() != first && spinner.finOpacity(spinner.fposition()) == 1; }))
        << "it turns";
    hud_.hideDelayed(0);
    EXPECT_FALSE(hud_.isVisible()) << "0 hides without a fade";
    EXPECT_FALSE(hud_.progressIndicator()->isRunning());
}

TEST_F(ProgressHUDTest, AHideMeetsALaterMessage) {
    hud_.show("一", textMode);
    hud_.performHideDelayed(1, 0.01);
    hud_.show("二", ProgressHUDMode::success);
    EXPECT_EQ(hud_.status().toStdString(), "二");
    EXPECT_TRUE(waitFor([this] { return !hud_.isVisible(); })) << "the earlier one's timer hides it";
    show("一", textMode);
    hud_.performHideDelayed(1, 0.01);
    hud_.hide(false);
    show("二", textMode);
    EXPECT_TRUE(holdsFor([this] { return hud_.isVisible(); }, 300)) << "a hide drops the scheduled ones";
    posted_.clear();
    hud_.hide(true);
    show("三", textMode);
    EXPECT_THAT(posted_, ElementsAre("willDisappear", "willAppear", "didAppear")) << "an overtaken fade hides nothing";
}

TEST_F(ProgressHUDTest, MovesOnceItsWindowIsClosedAndOutlivesIt) {
    QWidget other;
    other.show();
    show("一", textMode);
    hud_.containerView = &other;
    hud_.show("二", textMode);
    EXPECT_EQ(hud_.parentWidget(), container_.get()) << "while it is shown it stays where it is";
    container_->close();
    hud_.show("三", textMode);
    EXPECT_EQ(hud_.parentWidget(), &other);
    EXPECT_EQ(hud_.alpha(), 0) << "it comes up anew";
    other.close();
    hud_.performHideDelayed(1, 0);
    ASSERT_TRUE(waitFor([this] { return hud_.parentWidget() == nullptr; })) << "a hide ends under a closed window";
    hud_.containerView = new QWidget;
    hud_.show("四", ProgressHUDMode::determinate);
    delete hud_.containerView;
    EXPECT_FALSE(hud_.isVisible());
    CapturedLog log;
    hud_.error("没有麦克风");
    EXPECT_TRUE(log.lines().join(u' ').contains("没有麦克风")) << "without a container it is not lost";
}

TEST_F(ProgressHUDTest, OverTheMainWindowAClearWindowStands) {
    hud_.containerView = nullptr;
    hud_.mainWindowContent = [this] { return container_.get(); };
    show("一", textMode);
    EXPECT_EQ(hud_.parentWidget(), container_.get());
    const auto windows = QApplication::topLevelWidgets();
    const auto clear = std::ranges::find(windows, "ProgressHUDWindow", &QWidget::objectName);
    ASSERT_NE(clear, windows.end());
    EXPECT_EQ((*clear)->geometry(), QGuiApplication::screens().front()->geometry());
    EXPECT_TRUE((*clear)->windowFlags().testFlags(Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus));
    hud_.hide(false);
    EXPECT_FALSE((*clear)->isVisible());
}

TEST_F(ProgressHUDTest, AMaskCoversTheWindowAndLetsClicksThroughOrNot) {
    QPushButton button(container_.get());
    button.setFlat(true);
    button.setGeometry(container_->rect());
    button.show();
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&clicks] { ++clicks; });
    const std::tuple<ProgressHUDMaskType, QColor, int> cases[] = {
        {ProgressHUDMaskType::none(), ground_, 2},
        {ProgressHUDMaskType::black(), over(Qt::black, 0.6, ground_), 0},
        {ProgressHUDMaskType::custom(QColor(255, 0, 0, 51)), over(Qt::red, 0.2, ground_), 0}};
    for (const auto& [mask, ground, passed] : cases) {
        hud_.dismissible = false;
        hud_.maskType = mask;
        show("请输入文本", textMode);
        hud_.maskType = ProgressHUDMaskType::black(); // another look waits for the next show
        EXPECT_THAT(picture().pixelColor(5, 5), Looks(ground));
        clicks = 0;
        posted_.clear();
        click({20, 20});
        click(hud_.box().center());
        EXPECT_EQ(clicks, passed);
        EXPECT_THAT(posted_, ElementsAre("didReceiveMouseDownEvent", "didReceiveMouseDownEvent"));
        EXPECT_TRUE(holdsFor([this] { return hud_.alpha() == 1; }, 20)) << "a click alone does not hide it";
        hud_.dismissible = true;
        click({20, 20});
        EXPECT_TRUE(waitFor([this] { return !hud_.isVisible(); }));
    }
}

TEST_F(ProgressHUDTest, TheBoxHoldsItsContentAndStandsWhereAskedFor) {
    container_->resize(300, 400);
    const QString url = "https://example.com/a/b/c/d/";
    const std::pair<ProgressHUDMode::Kind, QString> cases[] = {
        {textMode, "一行\n又一行"}, {ProgressHUDMode::success, url.repeated(3)}, {ProgressHUDMode::error, {}}};
    for (const auto& [kind, text] : cases) {
        for (const auto& [position, middle] : {std::pair(ProgressHUDPosition::top, 120),
                                               {ProgressHUDPosition::center, 200},
                                               {ProgressHUDPosition::bottom, 280}}) {
            hud_.position = position;
            show(text, kind);
            const QRect box = hud_.box();
            const QRect label = text.isEmpty() ? QRect() : hud_.statusLabel()->geometry();
            EXPECT_NEAR(QRectF(box).center().x(), 150, 0.5);
            EXPECT_NEAR(QRectF(box).center().y(), middle, 0.5);
            EXPECT_EQ(extent(picture(), [this](const QColor& c) { return c != ground_; }), box);
            const QRect indicator = hud_.indicator() ? hud_.indicator()->geometry() : QRect();
            const int padding = text.isEmpty() ? 2 : 0;
            EXPECT_EQ(label | indicator, box.adjusted(18, 18 + padding, -18, -18 - padding)) << text.toStdString();
            EXPECT_TRUE(label.isNull() || indicator.isNull() || label.top() - indicator.bottom() == 9);
            EXPECT_LE(label.width(), 300 - 4 * 18);
            const QRect ink = extent(picture().copy(label), [](const QColor& c) { return c.lightness() > 150; });
            EXPECT_TRUE(label.isNull() || (ink.left() > 0 && ink.right() < label.width() - 1)) << "nothing is cut off";
        }
    }
}

TEST_F(ProgressHUDTest, ColoursAndIconsAreThoseAskedFor) {
    using Mode = ProgressHUDMode;
    using Points = std::vector<QPoint>;
    const std::array looks{std::tuple(Mode::success, ProgressHUDStyle::dark(), QColor(242, 242, 242), QColor(Qt::black),
                                      Points{{19, 48}, {5, 32}, {54, 13}}, QPoint(30, 10)),
                           std::tuple(Mode::error, ProgressHUDStyle::light(), QColor(Qt::black), QColor(Qt::white),
                                      Points{{9, 9}, {51, 51}, {51, 9}, {9, 51}}, QPoint(30, 15)),
                           std::tuple(Mode::info, ProgressHUDStyle::custom(Qt::red, Qt::blue), QColor(Qt::red),
                                      QColor(Qt::blue), Points{{30, 1}, {30, 44}, {30, 16}}, QPoint(20, 30))};
    hud_.opacity = 0.8;
    for (const auto& [kind, style, foreground, ground, drawn, clear] : looks) {
        hud_.style = style;
        show(solid.repeated(4), kind);
        EXPECT_THAT(inIndicator(clear), Looks(over(ground, 0.8, ground_)));
        EXPECT_THAT(picture().pixelColor(hud_.statusLabel()->geometry().center()), Looks(foreground));
        for (const QPoint place : drawn)
            EXPECT_NE(inIndicator(place), inIndicator(clear)) << kind << " at " << place.x() << ' ' << place.y();
        hud_.hide(false);
    }
    const QPointer<QWidget> view = new QLabel(solid);
    view->resize(120, 40);
    show("一", Mode::custom(view));
    hud_.show("二", Mode::custom(view));
    EXPECT_EQ(hud_.indicator(), view) << "a view of the caller's, shown again, stays";
    EXPECT_EQ(hud_.box().width(), 120 + 36);
    hud_.show("三", textMode);
    EXPECT_TRUE(view.isNull());
}

} // namespace
} // namespace parlowen::testing
