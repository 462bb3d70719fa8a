#include <Foundation/NotificationCenter.h>
#include <Tools/PopView/ProgressHUD.h>
#include <gmock/gmock.h>

#include <QElapsedTimer>
#include <QPushButton>
#include <QTest>
#include <memory>
#include <support/WaitFor.h>
#include <vector>

namespace parlowen {
namespace {

using ::testing::ElementsAre;
using testing::waitFor;

constexpr auto textMode = ProgressHUDMode::text;

class ProgressHUDTest : public ::testing::Test {
protected:
    ProgressHUDTest() {
        container_->resize(600, 400);
        container_->show();
        hud_.containerView = container_.get();
        for (const char* name : {"willAppear", "didAppear", "willDisappear", "didDisappear"}) {
            NotificationCenter::shared().observe(QStringLiteral("ProgressHUD.") + QLatin1String(name), &observer_,
                                                 [this, name](const Notification& notification) {
                                                     if (notification.object == &hud_)
                                                         posted_.emplace_back(name);
                                                 });
        }
    }

    bool shown() const { return hud_.isVisible() && hud_.alpha() == 1; }

    QObject observer_;
    std::vector<std::string> posted_;
    std::unique_ptr<QWidget> container_ = std::make_unique<QWidget>();
    ProgressHUD hud_;
};

TEST_F(ProgressHUDTest, AToastStaysAsLongAsItsTextAsksFor) {
    EXPECT_DOUBLE_EQ(hud_.toastSeconds(QString(10, u'字')), 2.0);
    EXPECT_DOUBLE_EQ(hud_.toastSeconds(QString(60, u'字')), 4.1);
    EXPECT_DOUBLE_EQ(hud_.toastSeconds(QString(100, u'字')), 5.0);
    EXPECT_DOUBLE_EQ(hud_.toastSeconds(QStringLiteral("😀").repeated(60)), 4.1);
}

TEST_F(ProgressHUDTest, AppearsAndDisappearsWithItsNotifications) {
    int completed = 0;
    hud_.completionHandler = [&completed] { ++completed; };
    hud_.show(QStringLiteral("请输入文本"), textMode);
    EXPECT_EQ(hud_.status().toStdString(), "请输入文本");
    EXPECT_THAT(posted_, ElementsAre("willAppear"));
    ASSERT_TRUE(waitFor([this] { return shown() && posted_.size() == 2; }));
    EXPECT_EQ(hud_.geometry(), container_->rect());
    container_->resize(500, 300);
    EXPECT_EQ(hud_.geometry(), container_->rect());

    hud_.hide(true);
    EXPECT_TRUE(hud_.isVisible()) << "it fades";
    ASSERT_TRUE(waitFor([this] { return posted_.size() == 4; }));
    EXPECT_FALSE(hud_.isVisible());
    EXPECT_EQ(hud_.alpha(), 0);
    EXPECT_EQ(hud_.status(), QString());
    EXPECT_EQ(completed, 1);
    EXPECT_THAT(posted_, ElementsAre("willAppear", "didAppear", "willDisappear", "didDisappear"));

    hud_.show(QStringLiteral("再来"), textMode);
    hud_.hideDelayed(0);
    EXPECT_FALSE(hud_.isVisible()) << "0 hides without a fade";
}

TEST_F(ProgressHUDTest, ALaterMessageIsHiddenByTheEarlierOnesTimer) {
    hud_.show(QStringLiteral("一"), textMode);
    hud_.performHideDelayed(1, 0.4);
    hud_.show(QStringLiteral("二"), textMode);
    hud_.performHideDelayed(1, 30);
    EXPECT_EQ(hud_.status().toStdString(), "二");
    EXPECT_TRUE(waitFor([this] { return !hud_.isVisible(); }));
}

TEST_F(ProgressHUDTest, AHideDropsTheScheduledOnes) {
    hud_.show(QStringLiteral("一"), textMode);
    hud_.performHideDelayed(1, 0.15);
    hud_.hide(false);
    hud_.show(QStringLiteral("二"), textMode);
    EXPECT_TRUE(testing::holdsFor([this] { return hud_.isVisible(); }, 500));
}

TEST_F(ProgressHUDTest, AFadeThatIsOvertakenDoesNotHide) {
    hud_.show(QStringLiteral("一"), textMode);
    hud_.hide(true);
    hud_.show(QStringLiteral("二"), textMode);
    ASSERT_TRUE(waitFor([this] { return shown(); }));
    EXPECT_EQ(hud_.status().toStdString(), "二");
}

TEST_F(ProgressHUDTest, ClicksReachWhatLiesBeneath) {
    auto* button = new QPushButton(container_.get());
    button->setGeometry(container_->rect());
    button->show();
    int clicks = 0;
    QObject::connect(button, &QPushButton::clicked, [&clicks] { ++clicks; });
    hud_.show(QStringLiteral("请输入文本"), textMode);
    QTest::mouseClick(container_->windowHandle(), Qt::LeftButton, {}, container_->rect().center());
    EXPECT_EQ(clicks, 1);
}

TEST_F(ProgressHUDTest, OutlivesItsContainer) {
    hud_.show(QStringLiteral("一"), textMode);
    container_.reset();
    EXPECT_FALSE(hud_.isVisible());
    hud_.show(QStringLiteral("二"), textMode);
    EXPECT_FALSE(hud_.isVisible()) << "without a container nothing is shown";
    QWidget other;
    other.resize(300, 200);
    other.show();
    hud_.mainWindowContent = [&other] { return &other; };
    hud_.show(QStringLiteral("三"), textMode);
    EXPECT_TRUE(hud_.isVisible());
    hud_.hide(false);
}

} // namespace
} // namespace parlowen
