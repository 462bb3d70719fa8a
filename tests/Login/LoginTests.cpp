#include <Login/CaptchaProcess.h>
#include <Login/CaptchaViewController.h>
#include <Login/LoginViewController.h>
#include <Network/ImageLoader.h>
#include <Page/View/ContactView.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/ProgressHUD.h>

#include "support/BackendFixture.h"
#include "support/WidgetTest.h"

namespace parlowen::testing {
namespace {

const QByteArray signedIn = R"({"code":0,"data":{"token":"t-1","user":{"user_code":"10086","phone":"138"}}})";

QJsonObject bodyOf(const ScriptedHttpServer::Request& request) {
    return QJsonDocument::fromJson(request.body).object();
}

/// A keyring that is unlocked once `open` is set.
struct LockedKeeper : SecretKeeper {
    Result<std::optional<QString>> secret(const QString& /*owner*/) override {
        while (!open && !isCancelled)
            QThread::msleep(1);
        return std::optional<QString>("id t-1");
    }
    Result<void> keep(const QString& /*owner*/, const QString& /*secret*/) override { return {}; }
    void forget(const QString& /*owner*/) override {}
    void cancel() override { isCancelled = true; }

    static inline std::atomic<bool> open = false;
    std::atomic<bool> isCancelled = false;
};

/// The sign-in window in front of a scripted backend, with toasts shown over it.
class LoginTest : public BackendFixture {
protected:
    ~LoginTest() override {
        ProgressHUD::shared().hide(false);
        delete window_;
    }
    /// `method` is the backend's answer on how to sign in.
    void open(const QByteArray& method) {
        server_.enqueue(Reply::json(200, method));
        services_.makeMainView = [this] { return mainView_ = new QWidget; };
        window_ = LoginViewController::openWindow(services_);
        page_ = static_cast<LoginViewController*>(window_->centralWidget());
        ProgressHUD::shared().containerView = window_;
        ASSERT_TRUE(QTest::qWaitForWindowActive(window_));
        ASSERT_TRUE(waitFor([this] { return server_.isConnectionClosed() || server_.requests().size() >= 1; }));
        EXPECT_EQ(lastRequest().target, "/user/get_login_method");
    }
    void openForCodes() {
        open(R"({"code":0,"data":"2"})");
        ASSERT_TRUE(waitFor([this] { return page_->loginType() == 2; }));
    }
    const LoginControls& controls() const { return page_->controls(); }
    void type(const QString& text) const { QTest::keyClicks(window_->focusWidget(), text); }
    void press(Qt::Key key) const { QTest::keyClick(window_->focusWidget(), key); }

    HttpDatas http_{settings_, {}, {}};
    ImageLoader images_{directory_.filePath("images")};
    LoginServices services_{&http_, &settings_, &images_, {}, {}, {}};
    QPointer<QMainWindow> window_;
    QPointer<LoginViewController> page_;
    QPointer<QWidget> mainView_;
};

TEST_F(LoginTest, KeysAloneSignInByPasswordAndTheWindowTurnsIntoTheMainOne) {
    open(R"({"code":0,"data":1})");
    EXPECT_EQ(window_->windowTitle(), "登录");
    EXPECT_EQ(window_->size(), QSize(510, 460));
    EXPECT_EQ(controls().areaLabel->text(), "+86 (中国)");
    EXPECT_FALSE(controls().sendCodeButton->isVisible());
    type("13800000001");
    press(Qt::Key_Tab);
    type("secret-1");
    press(Qt::Key_Tab);
    press(Qt::Key_Space); // the eye
    EXPECT_EQ(controls().codeLabel->text(), "secret-1");
    EXPECT_FALSE(controls().secureField->isVisible());
    press(Qt::Key_Space);
    EXPECT_TRUE(page_->iseyed() && controls().secureField->isVisible() && !controls().codeLabel->isVisible());
    EXPECT_EQ(controls().secureField->text(), "secret-1");
    press(Qt::Key_Space);
    type("x"); // no text for a button
    controls().codeLabel->setFocus();
    type("2");
    server_.enqueue(Reply::json(200, signedIn));
    press(Qt::Key_Return);
    press(Qt::Key_Return); // the first one is on its way
    EXPECT_EQ(ProgressHUD::shared().status(), "登录中...");
    ASSERT_TRUE(waitFor([this] { return mainView_ != nullptr; }));
    EXPECT_EQ(server_.requests().size(), 2U);
    EXPECT_EQ(lastRequest().target, "/user/account/login");
    EXPECT_EQ(bodyOf(lastRequest()),
              (QJsonObject{{"country_code", "86"}, {"phone", "13800000001"}, {"password", "secret-12"}}));
    EXPECT_EQ(settings_.loginToken(), "t-1");
    ASSERT_TRUE(settings_.userInfo());
    EXPECT_EQ(settings_.userInfo()->user_code, "10086");
    EXPECT_EQ(settings_.userInfo()->nick_name, "");
    EXPECT_EQ(window_->centralWidget(), mainView_);
    EXPECT_EQ(window_->windowTitle(), "主面板");
    EXPECT_EQ(window_->size(), QSize(1000, 700).boundedTo(window_->screen()->availableSize()));
    EXPECT_TRUE(waitFor([this] { return page_.isNull() && ProgressHUD::shared().alpha() == 0; }));
}

TEST_F(LoginTest, AKeyringThatIsUnlockedLateSignsInUnlessThatIsNotWantedAnyMore) {
    defaults_.setString("LOGIN_TOKEN_KEPT", "id");
    for (const bool isWanted : {true, false}) {
        LockedKeeper::open = false;
        Settings locked(defaults_, std::make_unique<LockedKeeper>());
        locked.setAutoLogin(true);
        EXPECT_EQ(locked.loginToken(), std::nullopt);
        services_.settings = &locked;
        open(R"({"code":0,"data":1})");
        locked.setAutoLogin(isWanted);
        LockedKeeper::open = true;
        ASSERT_TRUE(waitFor([&] { return locked.loginToken() == "t-1"; }));
        QCoreApplication::processEvents();
        EXPECT_EQ(mainView_ != nullptr, isWanted);
        delete window_;
    }
}

TEST_F(LoginTest, WhatIsMissingIsSaidAndNothingIsSent) {
    openForCodes();
    const auto said = [this](QAbstractButton* button) {
        QTest::mouseClick(button, Qt::LeftButton);
        return ProgressHUD::shared().status();
    };
    EXPECT_EQ(said(controls().sendCodeButton), "请输入手机号！");
    EXPECT_EQ(said(controls().loginButton), "用户名和密码不能为空！");
    controls().phoneLabel->setText("138");
    ProgressHUD::shared().hide(false);
    EXPECT_EQ(said(controls().loginButton), "用户名和密码不能为空！");
    EXPECT_EQ(window_->focusWidget(), controls().codeLabel);
    controls().areaLabel->setText("国家/地区");
    EXPECT_EQ(said(controls().loginButton), "请选择国家！");
    ProgressHUD::shared().hide(false);
    EXPECT_EQ(said(controls().sendCodeButton), "请选择国家！");
    EXPECT_EQ(page_->captcha(), nullptr);
    EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(LoginTest, AWayToSignInThatCouldNotBeLearnedIsAskedForAgain) {
    open(R"({"code":9,"message":"later"})");
    ASSERT_TRUE(waitFor([this] { return !log_.linesWith("🍺").isEmpty(); }));
    controls().phoneLabel->setText("138");
    controls().secureField->setText("secret-1");
    server_.enqueue(Reply::cut("{}", 1));
    server_.enqueue(Reply::json(200, R"({"code":0,"data":2})"));
    QTest::mouseClick(controls().loginButton, Qt::LeftButton);
    ASSERT_TRUE(
        waitFor([this] { return controls().loginButton->isEnabled() && !log_.linesWith("请求错误").isEmpty(); }));
    QTest::mouseClick(controls().loginButton, Qt::LeftButton);
    ASSERT_TRUE(waitFor([this] { return page_->loginType() == 2; }));
    EXPECT_EQ(server_.requests().size(), 3U) << "no password goes to where none is wanted, or nothing is heard";
    EXPECT_TRUE(controls().sendCodeButton->isVisible());
}

TEST(CaptchaViewControllerTest, OnlyAResultOfTheRightShapeIsPassedOnAndClosesTheWindow) {
    const CapturedLog log;
    QPointer<CaptchaViewController> captcha = CaptchaViewController::open(QUrl(ScriptedHttpServer::refusingUrl()));
    EXPECT_EQ(captcha->size(), QSize(400, 400));
    QStringList results;
    captcha->onValidateReceived = [&](const QString& validate) { results << validate; };
    const auto post = [&](const char* handler, const QByteArray& body) {
        captcha->didReceiveScriptMessage(handler, QJsonDocument::fromJson("[" + body + "]")[0]);
    };
    post("other", R"({"type":"success","data":{"validate":"abc"}})");
    EXPECT_TRUE(log.linesWith("⚠️").isEmpty());
    for (const QByteArray wrong : {R"({"type":"success","data":{"validate":5}})", R"({"type":"success","data":"abc"})",
                                   R"({"type":"close","data":{"validate":"abc"}})", "\"success\"", "null"})
        post("captchaHandler", wrong);
    EXPECT_EQ(log.linesWith("⚠️ 解析失败，数据格式不符合预期: ").size(), 5);
    EXPECT_EQ(log.lines().back(), "⚠️ 解析失败，数据格式不符合预期: null");
    EXPECT_TRUE(results.isEmpty() && captcha->isVisible());
    post("captchaHandler", R"({"type":"success","data":{"validate":"abc"}})");
    EXPECT_EQ(results, QStringList{"abc"});
    EXPECT_TRUE(waitFor([&] { return captcha.isNull(); }));
}

TEST_F(LoginTest, ACodeIsSentOnceTheCaptchaIsSolvedAndSignsIn) {
    // The captcha's process, without its window: solved when it is brought to the front.
    services_.captchaCommand = QStringList{
        "/bin/sh", "-c", R"(echo '{"log":"hello"}'; head -c1 >/dev/null; echo noise; echo '{"validate":"abc"}')"};
    openForCodes();
    EXPECT_FALSE(controls().eyeIcon->isVisible() || controls().secureField->isVisible());
    controls().phoneLabel->setText("138");
    QTest::mouseClick(controls().sendCodeButton, Qt::LeftButton);
    ASSERT_TRUE(waitFor([this] { return log_.lines().contains("hello"); }));
    EXPECT_EQ(server_.requests().size(), 1U);
    server_.enqueue(Reply::json(200, R"({"code":0,"message":"已发送"})"));
    QTest::mouseClick(controls().sendCodeButton, Qt::LeftButton);
    EXPECT_TRUE(waitFor([this] { return page_->captcha() == nullptr; }));
    const auto send = [this]() -> QPushButton& { return *controls().sendCodeButton; };
    ASSERT_TRUE(waitFor([&] { return !send().isEnabled(); }));
    EXPECT_EQ(bodyOf(lastRequest()), (QJsonObject{{"country_code", "86"}, {"phone", "138"}, {"data", "abc"}}));
    EXPECT_EQ(send().text(), "60s 后可重试");
    EXPECT_EQ(ProgressHUD::shared().status(), "已发送");
    EXPECT_EQ(page_->countdownTimer()->interval(), 1000);
    EXPECT_TRUE(controls().codeLabel->hasFocus());
    QEvent change(QEvent::LanguageChange);
    QApplication::sendEvent(page_, &change);
    EXPECT_FALSE(send().isEnabled()) << "nor in another language";
    controls().codeLabel->setFocus();
    page_->countdownTimer()->setInterval(1);
    QStringList titles;
    ASSERT_TRUE(waitFor([&] {
        titles << send().text();
        return send().isEnabled();
    }));
    EXPECT_TRUE(titles.contains("59s 后可重试") || titles.contains("58s 后可重试"));
    EXPECT_EQ(send().text(), "发送验证码");
    EXPECT_EQ(page_->remainingSeconds(), 60);

    type("123456");
    server_.enqueue(Reply::json(200, R"({"code":7,"message":"不对"})"));
    QTest::mouseClick(controls().loginButton, Qt::LeftButton);
    ASSERT_TRUE(waitForRequests(3));
    EXPECT_EQ(lastRequest().target, "/user/login");
    EXPECT_EQ(bodyOf(lastRequest()), (QJsonObject{{"country_code", "86"}, {"phone", "138"}, {"code", "123456"}}));
    ASSERT_TRUE(waitFor([] { return ProgressHUD::shared().alpha() == 0; }));
    server_.enqueue(Reply::json(200, R"({"code":0,"data":"no record"})"));
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForRequests(4));
    ASSERT_TRUE(waitFor([] { return ProgressHUD::shared().alpha() == 0; }));
    EXPECT_EQ(window_->centralWidget(), page_);
    EXPECT_EQ(settings_.loginToken(), std::nullopt);
}

TEST_F(LoginTest, ACaptchaThatDiesIsSaidAndOneThatIsClosedIsNot) {
    const QString file = directory_.filePath("captcha");
    services_.captchaCommand = QStringList{"/bin/sh", file};
    openForCodes();
    controls().phoneLabel->setText("138");
    const auto saidAfter = [&](const QByteArray& script) {
        ProgressHUD::shared().hide(false);
        QFile captcha(file);
        EXPECT_TRUE(captcha.open(QFile::WriteOnly) && captcha.write(script) > 0);
        captcha.close();
        QTest::mouseClick(controls().sendCodeButton, Qt::LeftButton);
        EXPECT_TRUE(page_->captcha() && waitFor([this] { return page_->captcha() == nullptr; }));
        return ProgressHUD::shared().status();
    };
    EXPECT_EQ(saidAfter("kill -9 $$"), "安全验证意外退出，请重试");
    EXPECT_EQ(saidAfter("exit 0"), "");
    EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(LoginTest, ACountryIsFoundByNameOrCodeAndSentWithTheNumber) {
    openForCodes();
    server_.enqueue(Reply::json(200, R"({"code":0,"data":[{"name_zn":"中国","country_code":"86"},5]})"));
    QTest::mouseClick(controls().areaLabel, Qt::LeftButton);
    QPointer picker = static_cast<CountryListViewController*>(page_->popover()->contentView());
    auto* retry = picker->findChild<QPushButton*>();
    ASSERT_TRUE(waitFor([&] { return retry->isVisible(); })) << "with one that is none it is no list";
    server_.enqueue(Reply::json(200, R"({"code":0,"data":[{"name_zn":"中国","country_code":86,"name_en":"China"},)"
                                     R"({"country_code":"1"},{"name_zn":"法国F","country_code":"33"}]})"));
    QTest::keyClick(retry, Qt::Key_Space);
    const auto rows = [&](const QString& query) {
        picker->searchField()->setText(query);
        QStringList texts;
        for (int row = 0; row < picker->tableView()->model()->rowCount(); ++row)
            texts << picker->tableView()->model()->index(row, 0).data().toString();
        return texts;
    };
    ASSERT_TRUE(waitFor([&] { return !picker->countryModels().empty(); }));
    EXPECT_EQ(rows(""), (QStringList{"中国 +86", " +1", "法国F +33"}));
    EXPECT_EQ(rows("86"), QStringList{"中国 +86"});
    EXPECT_EQ(rows("china"), QStringList());
    EXPECT_EQ(rows("法国f"), QStringList{"法国F +33"});
    QTest::keyClick(picker->searchField(), Qt::Key_Return);
    EXPECT_FALSE(page_->popover()->isVisible());
    EXPECT_EQ(controls().areaLabel->text(), "+33 (法国F)");
    controls().phoneLabel->setText("6");
    controls().codeLabel->setText("1");
    QTest::mouseClick(controls().loginButton, Qt::LeftButton);
    ASSERT_TRUE(waitForRequests(4));
    EXPECT_EQ(bodyOf(lastRequest())["country_code"], "33");
}

TEST_F(LoginTest, AutomaticSignInIsStoredAtOnceAndTheLocalServiceIsEnteredWithoutANumber) {
    LoginServices::Entered entered;
    services_.enterLocally = [&](QObject*, LoginServices::Entered then) { entered = std::move(then); };
    open(R"({"code":0,"data":1})");
    QTest::mouseClick(controls().autoLoginBtn, Qt::LeftButton, {}, {8, controls().autoLoginBtn->height() / 2});
    EXPECT_TRUE(settings_.isAutoLogin());
    QTest::keyClick(controls().autoLoginBtn, Qt::Key_Space);
    EXPECT_FALSE(settings_.isAutoLogin());
    EXPECT_EQ(log_.linesWith("选中 ✅").size() + log_.linesWith("未选中 ❌").size(), 2);
    QTest::mouseClick(controls().localButton, Qt::LeftButton);
    ASSERT_TRUE(entered);
    EXPECT_EQ(ProgressHUD::shared().status(), "登录中...");
    entered(failure("nobody"));
    EXPECT_EQ(mainView_, nullptr);
    QTest::keyClick(controls().localButton, Qt::Key_Return);
    entered({});
    EXPECT_EQ(window_->centralWidget(), mainView_);
}

TEST_F(LoginTest, TheContactCardShowsTheBackendsCodeAndClosesByItsCross) {
    open(R"({"code":0,"data":1})");
    EXPECT_EQ(controls().localButton, nullptr);
    const QByteArray red = "P6 3 2 255 " + QByteArray("\xff\0\0", 3).repeated(6);
    server_.enqueue(Reply::json(200, R"({"code":0,"data":")" + server_.baseUrl().toUtf8() + R"(/code"})"));
    server_.enqueue({"HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(red.size()) + "\r\n\r\n" + red});
    QTest::mouseClick(controls().contractLabel, Qt::LeftButton);
    auto* card = window_->findChild<ContactView*>();
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(card->size(), QSize(260, 260));
    EXPECT_EQ(card->pos(), QPoint((510 - 260) / 2, (460 - 260) / 2));
    ASSERT_TRUE(waitFor([&] { return !card->iconV()->pixmap().isNull(); }));
    EXPECT_EQ(card->iconV()->pixmap().toImage().pixelColor(75, 50), QColor(Qt::red));
    EXPECT_EQ(lastRequest().target, "/code");
    card->closeImg()->setFocus();
    QTest::keyClick(card->closeImg(), Qt::Key_Return);
    EXPECT_TRUE(waitFor([this] { return window_->findChild<ContactView*>() == nullptr; }));
}

} // namespace
} // namespace parlowen::testing
