#include "support/BackendFixture.h"
#include "support/WidgetTest.h"
#include <Foundation/Bundle.h>
#include <Foundation/NotificationCenter.h>
#include <Network/ImageLoader.h>
#include <Page/AboutMeViewController.h>
#include <Page/MineViewController.h>
#include <Page/View/ContactView.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/ProgressHUD.h>

namespace parlowen::testing {
namespace {

const QByteArray profile = R"({"code":0,"data":{"user":{"user_code":"10086","phone":"138","nick_name":"L"}}})";

struct AccountTest : BackendFixture {
    ~AccountTest() override { ProgressHUD::shared().hide(false); }
    void open(const Reply& reply) {
        server_.enqueue(reply);
        page_->onSignedOut = [this] { ++signedOut_; };
        page_->resize(700, 420);
        ProgressHUD::shared().containerView = page_.get();
        page_->show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(page_.get()));
    }
    bool waitForRequest(const QByteArray& method, const QByteArray& target) const {
        return waitFor([&] {
            return !server_.requests().empty() && lastRequest().target == target && lastRequest().method == method;
        });
    }
    void tap(int record) const {
        QTest::mouseClick(page_->recordButtons().at(static_cast<std::size_t>(record)), Qt::LeftButton);
    }

    HttpDatas http_{settings_, {}, {}};
    ImageLoader images_{directory_.filePath("images")};
    std::unique_ptr<MineViewController> page_ = std::make_unique<MineViewController>(http_, settings_, images_);
    int signedOut_ = 0;
};

TEST_F(AccountTest, TheStoredProfileIsShownUntilTheBackendsComes) {
    settings_.setUserInfo(UserBaseModel{"7", "", "86", "137", "", {}, 1});
    open(Reply::json(200, profile));
    EXPECT_EQ(page_->phoneLabel()->text() + page_->idLabel()->text(), "137ID:7");
    ASSERT_TRUE(waitFor([this] { return page_->idLabel()->text() == "ID:10086"; }));
    EXPECT_EQ(page_->phoneLabel()->text(), "138");
    EXPECT_EQ(settings_.userInfo()->nick_name, "L");
    QTest::mouseClick(page_->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "10086");
    EXPECT_EQ(ProgressHUD::shared().status(), "已复制到剪切板");
    server_.enqueue(Reply::json(200, R"({"code":0,"data":[]})"));
    NotificationCenter::shared().post("InterviewTypeNotification");
    NotificationCenter::shared().post("InterviewTypeNotification", nullptr, {{"type", 2}});
    ASSERT_TRUE(waitForRequests(2));
    EXPECT_TRUE(log_.lines().contains("收到通知内容：2"));
    EXPECT_EQ(log_.linesWith("收到通知内容：").size(), 1);
    EXPECT_EQ(lastRequest().target, "/user/info");
    EXPECT_EQ(page_->userModel()->user_code, "10086");
}

TEST_F(AccountTest, WithoutAProfileAnEmptyIdIsCopiedAndTheContactCardOpensByKeys) {
    open(Reply::json(200, R"({"code":3})"));
    EXPECT_EQ(page_->idLabel()->text(), "ID: ");
    QGuiApplication::clipboard()->setText("before");
    QTest::mouseClick(page_->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "");
    QTest::keyClick(page_->recordButtons().front(), Qt::Key_Return);
    ASSERT_NE(page_->findChild<ContactView*>(), nullptr);
    QTest::keyClick(page_->focusWidget(), Qt::Key_Escape);
    EXPECT_TRUE(waitFor([this] { return page_->findChild<ContactView*>() == nullptr; }));
}

TEST_F(AccountTest, OnlyAConfirmedDeletionIsSentAndSignsOutOnceItSucceeds) {
    settings_.setLoginToken("t");
    settings_.setAutoLogin(true);
    open(Reply::json(200, profile));
    ASSERT_TRUE(waitFor([this] { return settings_.userInfo().has_value(); }));
    tap(1);
    EXPECT_EQ(page_->logoffTipView()->size(), QSize(300, 160));
    QTest::keyClick(page_->focusWidget(), Qt::Key_Return); // as it opens: what cannot be undone is not a key away
    ASSERT_TRUE(waitFor([this] { return !page_->logoffTipView()->isVisible(); }));
    server_.enqueue(Reply::json(200, R"({"code":9,"message":"不行"})"));
    tap(1);
    QTest::mouseClick(page_->logoffTipView()->sureButton(), Qt::LeftButton);
    ASSERT_TRUE(waitForRequest("POST", "/user/logoff"));
    EXPECT_EQ(server_.requests().size(), 2U);
    ASSERT_TRUE(waitFor([this] { return !page_->logoffTipView()->isVisible(); }));
    ASSERT_TRUE(waitFor([] { return ProgressHUD::shared().alpha() == 0; }));
    EXPECT_EQ(signedOut_, 0) << "it was refused";
    server_.enqueue(Reply::json(200, R"({"code":0,"message":"已注销"})"));
    tap(1);
    QTest::keyClick(page_->logoffTipView()->sureButton(), Qt::Key_Return);
    ASSERT_TRUE(waitFor([] { return ProgressHUD::shared().status() == "已注销"; }));
    EXPECT_EQ(settings_.loginToken(), "t");
    ASSERT_TRUE(waitFor([this] { return signedOut_ == 1; }));
    EXPECT_EQ(settings_.loginToken(), std::nullopt);
    EXPECT_FALSE(settings_.isAutoLogin() || settings_.userInfo());
}

TEST_F(AccountTest, ADeletionSignsOutThoughItsPageHasGone) {
    settings_.setLoginToken("t");
    open(Reply::json(200, profile));
    ASSERT_TRUE(waitFor([this] { return settings_.userInfo().has_value(); }));
    server_.enqueue(Reply::json(200, R"({"code":0,"message":"已注销"})"));
    tap(1);
    QTest::mouseClick(page_->logoffTipView()->sureButton(), Qt::LeftButton);
    page_.reset();
    ASSERT_TRUE(waitFor([this] { return signedOut_ == 1; }));
    EXPECT_EQ(settings_.loginToken(), std::nullopt);
}

struct AboutTest : BackendFixture {
    void check(const QByteArray& found) {
        server_.enqueue(Reply::json(200, R"({"code":0,"data":)" + found + "}"));
        const std::size_t before = server_.requests().size();
        page_.checkForUpdates();
        ASSERT_TRUE(waitForRequests(before + 1));
        const auto results = [this] { return log_.linesWith("🍺").size(); };
        ASSERT_TRUE(waitFor([&] { return results() == static_cast<qsizetype>(before + 1); }));
    }
    bool isPrompted() const { return page_.tipView() != nullptr && page_.tipView()->isVisible(); }

    std::vector<Alert> alerts_;
    HttpDatas http_{settings_, {}, {[this](const Alert& alert) { alerts_.push_back(alert); }, {}}};
    AboutMeViewController page_{http_, settings_};
};

TEST_F(AboutTest, ANewerVersionIsToldWithItsNotesAndAnythingLessIsNot) {
    page_.resize(700, 420);
    page_.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&page_));
    EXPECT_EQ(page_.versionLabel()->text(), "当前版本：" + Bundle::shortVersion());
    EXPECT_FALSE(page_.sureBtn()->isVisible());
    for (const QByteArray nothing : {"5", R"({"version":"2.2.0"})", R"({"min_version":"2.2.0"})"})
        check(nothing);
    EXPECT_TRUE(alerts_.empty() && !isPrompted());
    check(R"({"version":"2.1.0","min_version":"2.1.0"})");
    EXPECT_FALSE(isPrompted());
    ASSERT_EQ(alerts_.size(), 1U);
    EXPECT_EQ(alerts_.front(), (Alert{"当前已经是最新版本", "", "logo", AlertStyle::warning}));

    const QByteArray newer = R"({"version":"2.2.0","min_version":"2.1.0","content":"更快"})";
    check(newer);
    ASSERT_TRUE(isPrompted());
    EXPECT_EQ(page_.tipView()->size(), page_.size());
    EXPECT_EQ(page_.tipView()->tip1Lab()->text(), "更快");
    QTest::mouseClick(page_.tipView()->sureBtn(), Qt::LeftButton);
    EXPECT_FALSE(isPrompted());
    check(newer);
    QTest::mouseClick(page_.tipView()->closeImg(), Qt::LeftButton);
    EXPECT_FALSE(isPrompted());
    check(newer);
    QTest::keyClick(page_.tipView()->sureBtn(), Qt::Key_Escape); // a page's focus goes once, just after its start
    EXPECT_FALSE(isPrompted());
}

} // namespace
} // namespace parlowen::testing
