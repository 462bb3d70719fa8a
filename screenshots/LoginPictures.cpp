#include "Sheet.h"

#include "support/BackendFixture.h"

#include <Login/CaptchaViewController.h>
#include <Login/LoginViewController.h>
#include <Network/ImageLoader.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/ProgressHUD.h>

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

namespace parlowen::screenshots {
namespace {

using testing::waitFor;

/// The sign-in page against a scripted backend.
class LoginPictures : public testing::BackendFixture {
protected:
    LoginPictures() { Sheet::shared().section("Sign-in"); }
    ~LoginPictures() override { delete window_; }

    void open(int type, bool local) {
        server_.enqueue(Reply::json(200, QString(R"({"code":0,"data":%1})").arg(type).toUtf8()));
        LoginServices services{&http_, &settings_, &images_, {}, {}, {}};
        if (local)
            services.enterLocally = [](QObject*, const LoginServices::Entered&) {};
        window_ = LoginViewController::openWindow(services);
        page_ = static_cast<LoginViewController*>(window_->centralWidget());
        ASSERT_TRUE(QTest::qWaitForWindowActive(window_));
        ASSERT_TRUE(waitFor([&] { return page_->loginType() == type; }));
        ProgressHUD::shared().containerView = page_;
    }
    void add(const QString& caption) const { Sheet::shared().add(caption, *window_); }

    HttpDatas http_{settings_, {}, {}};
    QTemporaryDir cache_;
    ImageLoader images_{cache_.path()};
    QPointer<QMainWindow> window_;
    LoginViewController* page_ = nullptr;
};

TEST_F(LoginPictures, Password) {
    open(1, true);
    add("at the start, with the local service");
    const LoginControls& all = page_->controls();
    QTest::keyClicks(all.phoneLabel, "13800000001");
    QTest::keyClicks(all.secureField, "secret-1");
    all.autoLoginBtn->setChecked(true);
    all.secureField->setFocus();
    add("filled in");
    QTest::mouseClick(all.eyeIcon, Qt::LeftButton);
    all.localButton->setFocus();
    add("the password in plain view, the keyboard on the local entrance");
    QTest::mouseClick(all.localButton, Qt::LeftButton);
    ASSERT_TRUE(waitFor([] { return ProgressHUD::shared().alpha() == 1; }));
    add("signing in");
    ProgressHUD::shared().hide(false);
}

TEST_F(LoginPictures, Code) {
    open(2, false);
    add("SMS code");
    page_->didSelectCountry({"VC", "Saint Vincent", "1784", {}, "圣文森特和格林纳丁斯"});
    QTest::mouseClick(page_->controls().sendCodeButton, Qt::LeftButton);
    ASSERT_TRUE(waitFor([] { return ProgressHUD::shared().alpha() == 1; }));
    add("no number; a long country");
    ProgressHUD::shared().hide(false);
    window_->resize(900, 620);
    add("larger");
    window_->resize(360, 420);
    add("smaller");
}

TEST_F(LoginPictures, Countries) {
    open(2, false);
    server_.enqueue(Reply::json(
        200,
        R"({"code":0,"data":[{"name_zn":"阿尔巴尼亚","name_en":"Albania","country_code":"355"},)"
        R"({"name_zn":"法国","name_en":"France","country_code":"33"},{"name_zn":"中国","name_en":"China","country_code":"86"},)"
        R"({"name_zn":"中国香港","name_en":"Hong Kong","country_code":"852"},)"
        R"({"name_zn":"圣文森特和格林纳丁斯","name_en":"Saint Vincent and the Grenadines","country_code":"1784"}]})"));
    page_->controls().areaLabel->click();
    auto* picker = static_cast<CountryListViewController*>(page_->popover()->contentView());
    ASSERT_TRUE(waitFor([&] { return !picker->countryModels().empty(); }));
    Sheet::shared().add("countries", *page_->popover());
    picker->searchField()->setText("中");
    Sheet::shared().add("searched for", *page_->popover());
    picker->searchField()->setText("x");
    Sheet::shared().add("nothing found", *page_->popover());
    page_->popover()->close();
}

TEST_F(LoginPictures, Contact) {
    open(1, true);
    QImage code(29, 29, QImage::Format_RGB32);
    code.fill(Qt::white);
    for (int y = 4; y < 25; ++y)
        for (int x = 4; x < 25; ++x)
            code.setPixelColor(x, y, (x * 7 + y * 5 + x * y) % 3 == 0 ? Qt::black : Qt::white);
    const QString file = cache_.filePath("code.png");
    code.save(file);
    server_.enqueue(Reply::json(200, R"({"code":5})"));
    QTest::mouseClick(page_->controls().contractLabel, Qt::LeftButton);
    auto* pop = page_->window()->findChild<PopView*>();
    ASSERT_NE(pop, nullptr);
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() == 1; }));
    add("contact, its code not here");
}

TEST_F(LoginPictures, Captcha) {
    open(2, false);
    const QByteArray root = qgetenv("QTWEBENGINE_DISABLE_SANDBOX");
    qunsetenv("QTWEBENGINE_DISABLE_SANDBOX");
    QPointer<CaptchaViewController> captcha = CaptchaViewController::open(QUrl("http://127.0.0.1:9/"));
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", root);
    ASSERT_TRUE(QTest::qWaitForWindowActive(captcha->window()));
    Sheet::shared().add("a captcha that cannot be shown", *captcha->window());
    captcha->window()->close();
}

} // namespace
} // namespace parlowen::screenshots
