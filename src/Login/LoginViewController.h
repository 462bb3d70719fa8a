#pragma once

#include "CaptchaProcess.h"
#include "CountryListViewController.h"
#include "LoginForm.h"

#include <Foundation/Result.h>
#include <Network/HttpDatas.h>
#include <Network/JSON.h>

#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <functional>

class QMainWindow;

namespace parlowen {

class ImageLoader;
class Popover;
class Settings;

/// What signing in needs; all of it outlives the page.
struct LoginServices {
    HttpDatas* http = nullptr;
    Settings* settings = nullptr;
    ImageLoader* images = nullptr;
    QStringList captchaCommand; ///< opens the captcha; empty: this program does, with the page of the backend in use
    /// Makes what takes the page's place once somebody is signed in.
    std::function<QWidget*()> makeMainView;
    using Entered = std::function<void(const Result<void>&)>;
    /// Signs in to this machine's own service without a number, and stores the sign-in; `entered` is called once,
    /// unless the context is gone by then. Empty where the backend is another one.
    std::function<void(QObject* context, Entered entered)> enterLocally;
};

/// The sign-in page: a number with a country, and a password or an SMS code, as the backend wants it. Signed in, it
/// gives its window to the main view. Main thread only.
class LoginViewController : public QWidget, public CountrySelectorDelegate {
    Q_OBJECT
public:
    explicit LoginViewController(LoginServices services, QWidget* parent = nullptr);
    ~LoginViewController() override;

    /// Opens the page in a window of its own.
    static QMainWindow* openWindow(const LoginServices& services);
    /// Of the window in which somebody has signed in.
    static QString mainTitle();

    const LoginControls& controls() const { return form_->controls(); }
    const CountryListModel& countryModel() const { return countryModel_; }
    qint64 loginType() const { return loginType_; }            ///< 1 password, anything else SMS code
    bool iseyed() const { return iseyed_; }                    ///< whether the password is masked
    bool selectAutoLogin() const { return selectAutoLogin_; }  ///< as the user last set it here
    int remainingSeconds() const { return remainingSeconds_; } ///< until another code can be sent
    QTimer* countdownTimer() const { return countdownTimer_; } ///< null while no code can have been sent just now
    CaptchaProcess* captcha() const { return captcha_; }       ///< null while no captcha is open
    Popover* popover() const { return popover_; }

    void didSelectCountry(CountryListModel country) override;
    /// The sign-in that is on its way will not be answered.
    void signInRefused();

protected:
    void changeEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void fillForm();
    void makeFormAnew();
    void connectControls();
    /// Calls `then` when the answer, or none, has come.
    void requestLoginMethod(const std::function<void(FResponseStatus)>& then = {});
    void signInWith(const QString& secret);
    void showLoginType();
    void showCountryList();
    void sendCodeTap();
    void openCaptcha();
    void sendCode(const QString& validate);
    void startCountdown();
    void countDown();
    void showRemainingSeconds();
    void loginTap();
    void signIn(const QString& path, const QString& secretName, const QString& secret);
    void receiveSignIn(const JSON& payload);
    void enterLocally();
    void awaitStoredSignIn();
    void showMainView();
    void setBusy(bool isBusy);
    void autoLoginTap();
    void eyeTap();
    void contractTap();
    bool hasCountry() const;
    QJsonObject numberParameters() const;

    const LoginServices services_;
    LoginForm* form_;
    Popover* popover_;
    QPointer<CaptchaProcess> captcha_;
    QPointer<QTimer> countdownTimer_;
    int remainingSeconds_ = 60;
    CountryListModel countryModel_;
    qint64 loginType_ = 1;
    bool iseyed_ = true;
    bool selectAutoLogin_ = false;
    bool isMethodMissing_ = false; ///< it could not be learned
    bool isBusy_ = false;          ///< a sign-in is on its way
};

} // namespace parlowen
