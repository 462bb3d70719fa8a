#pragma once

#include <Login/CaptchaProcess.h>
#include <Login/LoginViewController.h>
#include <Network/ImageLoader.h>
#include <Tools/PopView/ProgressHUD.h>

#include "support/BackendFixture.h"
#include "support/WidgetTest.h"

namespace parlowen::testing {

/// The sign-in window in front of a scripted backend, with toasts shown over it.
class LoginRig : public BackendFixture {
protected:
    ~LoginRig() override {
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
        ASSERT_TRUE(waitFor([this] { return server_.isConnectionClosed() || server_.requests().size() == 1; }));
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

} // namespace parlowen::testing
