#include "LoginViewController.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Network/ApiBase.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Page/View/ContactView.h>
#include <Page/View/LanguageSwitch.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QCheckBox>
#include <QHideEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <utility>

namespace parlowen {

namespace {

constexpr qint64 passwordType = 1;
constexpr int countdownSeconds = 60;
constexpr QSize loginSize(510, 460);
constexpr QSize mainSize(1000, 700);

void centre(QWidget& window, QSize size) {
    const QRect screen = window.screen()->availableGeometry();
    window.resize(size.boundedTo(screen.size()));
    window.move(screen.center() - window.rect().center());
}

} // namespace

LoginViewController::LoginViewController(LoginServices services, QWidget* parent)
    : QWidget(parent)
    , services_(std::move(services))
    , form_(new LoginForm(*services_.settings, static_cast<bool>(services_.enterLocally), this))
    , popover_(new Popover(this))
    , countryModel_{QStringLiteral("CN"), QStringLiteral("China"), QStringLiteral("86"), {}, QStringLiteral("中国")} {
    setPalette(lightPalette(hexColor(theme::pale)));
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(form_);
    selectAutoLogin_ = services_.settings->isAutoLogin(); // still so after a sign-in that was refused
    fillForm();
    requestLoginMethod();
    awaitStoredSignIn();
}

void LoginViewController::fillForm() {
    controls().autoLoginBtn->setChecked(selectAutoLogin_);
    connectControls();
    controls().sendCodeButton->setText(tr("发送验证码"));
    didSelectCountry(countryModel_);
    showLoginType();
}

void LoginViewController::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        makeFormAnew();
}

/// In the language that windows speak now; what was typed stays.
void LoginViewController::makeFormAnew() {
    LoginForm* const before = form_;
    form_ = new LoginForm(*services_.settings, static_cast<bool>(services_.enterLocally), this);
    delete layout()->replaceWidget(before, form_); // the place of the one before
    before->hide();
    before->deleteLater(); // its switch may be what asks for this
    fillForm();
    const LoginControls& old = before->controls();
    controls().phoneLabel->setText(old.phoneLabel->text());
    controls().codeLabel->setText(old.codeLabel->text());
    controls().secureField->setText(old.secureField->text());
    if (countdownTimer_) {
        controls().sendCodeButton->setEnabled(false);
        showRemainingSeconds();
    }
    window()->setWindowTitle(tr("登录"));
    form_->show();
    controls().languageSwitch->setFocus(Qt::OtherFocusReason);
}

/// A window that was closed asks for no code, though it may be kept.
void LoginViewController::hideEvent(QHideEvent* event) {
    if (!event->spontaneous())
        delete captcha_.data();
    QWidget::hideEvent(event);
}

LoginViewController::~LoginViewController() {
    if (isBusy_)
        ProgressHUD::shared().hide(false);
}

QMainWindow* LoginViewController::openWindow(const LoginServices& services) {
    auto* window = new QMainWindow;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(tr("登录"));
    auto* page = new LoginViewController(services);
    window->setCentralWidget(page);
    centre(*window, loginSize * fontScale());
    window->show();
    window->raise();
    window->activateWindow();
    page->controls().phoneLabel->setFocus(Qt::OtherFocusReason);
    return window;
}

void LoginViewController::connectControls() {
    using Self = LoginViewController;
    const LoginControls& all = controls();
    connect(all.areaLabel, &QPushButton::clicked, this, &Self::showCountryList);
    connect(all.sendCodeButton, &QPushButton::clicked, this, &Self::sendCodeTap);
    connect(all.loginButton, &QPushButton::clicked, this, &Self::loginTap);
    connect(all.autoLoginBtn, &QCheckBox::toggled, this, &Self::autoLoginTap);
    connect(all.eyeIcon, &QToolButton::clicked, this, &Self::eyeTap);
    connect(all.contractLabel, &QPushButton::clicked, this, &Self::contractTap);
    for (const QLineEdit* field : {all.phoneLabel, all.codeLabel, all.secureField})
        connect(field, &QLineEdit::returnPressed, this, &Self::loginTap);
    for (const Qt::Key enter : {Qt::Key_Return, Qt::Key_Enter}) // Space is what turns it
        connect(new QShortcut(enter, all.autoLoginBtn, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated,
                this, &Self::loginTap);
    if (all.localButton != nullptr)
        connect(all.localButton, &QPushButton::clicked, this, &Self::enterLocally);
}

void LoginViewController::requestLoginMethod(const std::function<void(FResponseStatus)>& then) {
    services_.http->requestData(
        QStringLiteral("/user/get_login_method"), HttpMethod::GET, std::nullopt, std::nullopt, this,
        [this, then](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
            isMethodMissing_ = status != FResponseStatus::success || !json;
            if (!isMethodMissing_) {
                loginType_ = (*json)["data"].intValue();
                showLoginType();
            }
            if (then)
                then(status);
        });
}

void LoginViewController::showLoginType() {
    const LoginControls& all = controls();
    const bool isPassword = loginType_ == passwordType;
    const bool hadFocus = all.codeLabel->hasFocus() || all.secureField->hasFocus();
    const QString wanted = isPassword ? tr("请输入至少6位的密码") : tr("请输入验证码");
    all.hint->setText(isPassword ? tr("使用手机号和密码") : tr("使用手机号和短信验证码"));
    all.codeLabel->setPlaceholderText(wanted);
    all.codeLabel->setAccessibleName(isPassword ? tr("密码") : tr("验证码"));
    all.codeLabel->setInputMethodHints(isPassword ? Qt::ImhSensitiveData | Qt::ImhNoPredictiveText : Qt::ImhDigitsOnly);
    all.secureField->setPlaceholderText(wanted);
    all.sendCodeButton->setVisible(!isPassword);
    all.eyeIcon->setVisible(isPassword);
    all.eyeIcon->setIcon(namedImage(iseyed_ ? QStringLiteral("icon_pd_true") : QStringLiteral("icon_pd_false")));
    all.eyeIcon->setAccessibleName(iseyed_ ? tr("显示密码") : tr("隐藏密码"));
    all.eyeIcon->setToolTip(all.eyeIcon->accessibleName());
    all.secureField->setVisible(isPassword && iseyed_);
    all.codeLabel->setVisible(!isPassword || !iseyed_);
    form_->showLocalEntrance(isPassword); // a service that wants codes makes no accounts without them
    if (hadFocus)
        (isPassword && iseyed_ ? all.secureField : all.codeLabel)->setFocus(Qt::OtherFocusReason);
}

void LoginViewController::eyeTap() {
    const LoginControls& all = controls();
    (iseyed_ ? all.codeLabel : all.secureField)->setText((iseyed_ ? all.secureField : all.codeLabel)->text());
    iseyed_ = !iseyed_;
    showLoginType();
}

void LoginViewController::showCountryList() {
    auto* countries = new CountryListViewController(*services_.http);
    countries->setDelegate(this);
    popover_->setContentView(countries);
    popover_->show(controls().areaLabel, Popover::Edge::below);
}

void LoginViewController::didSelectCountry(CountryListModel country) {
    countryModel_ = std::move(country);
    const QString text =
        QStringLiteral("+%1 (%2)").arg(countryModel_.country_code.value_or(QString()), countryName(countryModel_));
    controls().areaLabel->setText(text);
    controls().areaLabel->setToolTip(text);
    popover_->close();
}

/// Says so where there is none.
bool LoginViewController::hasCountry() const {
    if (controls().areaLabel->text() != tr("国家/地区"))
        return true;
    ProgressHUD::shared().toast(tr("请选择国家！"));
    return false;
}

QJsonObject LoginViewController::numberParameters() const {
    return {{QStringLiteral("country_code"), countryModel_.country_code.value_or(QString())},
            {QStringLiteral("phone"), controls().phoneLabel->text()}};
}

void LoginViewController::sendCodeTap() {
    if (!hasCountry())
        return;
    if (controls().phoneLabel->text().isEmpty()) {
        ProgressHUD::shared().toast(tr("请输入手机号！"));
        controls().phoneLabel->setFocus(Qt::OtherFocusReason);
        return;
    }
    if (captcha_)
        captcha_->raise();
    else
        openCaptcha();
}

void LoginViewController::openCaptcha() {
    const QStringList ownCommand = CaptchaProcess::commandFor(ApiBase::captchaPage(services_.http->baseUrl()));
    captcha_ = new CaptchaProcess(services_.captchaCommand.isEmpty() ? ownCommand : services_.captchaCommand, this);
    captcha_->onValidateReceived = [this](const QString& validate) { sendCode(validate); };
    captcha_->onFailure = [] { ProgressHUD::shared().toast(tr("安全验证意外退出，请重试")); };
    captcha_->onClosed = [this] {
        captcha_->deleteLater();
        captcha_.clear();
        window()->activateWindow();
    };
}

void LoginViewController::sendCode(const QString& validate) {
    consoleLog(QStringLiteral("✅ 收到验证码 validate: •••")); // it opens a sign-in
    QJsonObject parameters = numberParameters();
    parameters.insert(QStringLiteral("data"), validate);
    services_.http->requestData(
        QStringLiteral("/user/send_sms_code"), HttpMethod::POST, parameters, std::nullopt, this,
        [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
            if (status != FResponseStatus::success || !json)
                return;
            startCountdown();
            controls().codeLabel->clear(); // an earlier one is good no more
            controls().codeLabel->setFocus(Qt::OtherFocusReason);
            const auto reply = mapLenient<BaseNetModel>(json->rawString());
            if (reply && reply->message)
                ProgressHUD::shared().toast(*reply->message);
        });
}

void LoginViewController::startCountdown() {
    controls().sendCodeButton->setEnabled(false);
    showRemainingSeconds();
    delete countdownTimer_;
    countdownTimer_ = new QTimer(this);
    connect(countdownTimer_, &QTimer::timeout, this, &LoginViewController::countDown);
    countdownTimer_->start(std::chrono::seconds(1));
}

void LoginViewController::countDown() {
    --remainingSeconds_;
    showRemainingSeconds();
    if (remainingSeconds_ >= 1)
        return;
    countdownTimer_->stop();
    countdownTimer_->deleteLater();
    countdownTimer_.clear();
    remainingSeconds_ = countdownSeconds;
    controls().sendCodeButton->setText(tr("发送验证码"));
    controls().sendCodeButton->setEnabled(true);
}

void LoginViewController::showRemainingSeconds() {
    controls().sendCodeButton->setText(tr("%1s 后可重试").arg(remainingSeconds_));
}

void LoginViewController::loginTap() {
    if (isBusy_ || !hasCountry())
        return;
    const LoginControls& all = controls();
    const bool isPassword = loginType_ == passwordType;
    QLineEdit* const secret = isPassword && iseyed_ ? all.secureField : all.codeLabel;
    for (QLineEdit* field : {all.phoneLabel, secret}) {
        if (!field->text().isEmpty())
            continue;
        ProgressHUD::shared().toast(tr("用户名和密码不能为空！"));
        field->setFocus(Qt::OtherFocusReason);
        return;
    }
    if (!isMethodMissing_)
        return signInWith(secret->text());
    // The service was out of reach when the page opened, and may be another one by now.
    setBusy(true);
    requestLoginMethod([this, isPassword, text = secret->text()](FResponseStatus status) {
        setBusy(false);
        const bool isOutOfReach = status == FResponseStatus::failure;
        if (!isOutOfReach && isPassword == (loginType_ == passwordType)) // an alert says so
            signInWith(text);
    });
}

void LoginViewController::signInWith(const QString& secret) {
    if (loginType_ == passwordType)
        signIn(QStringLiteral("/user/account/login"), QStringLiteral("password"), secret);
    else
        signIn(QStringLiteral("/user/login"), QStringLiteral("code"), secret);
}

void LoginViewController::signIn(const QString& path, const QString& secretName, const QString& secret) {
    setBusy(true);
    QJsonObject parameters = numberParameters();
    parameters.insert(secretName, secret);
    services_.http->requestData(
        path, HttpMethod::POST, parameters, std::nullopt, this,
        [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
            setBusy(false);
            if (status == FResponseStatus::success && json)
                receiveSignIn((*json)["data"]);
        });
}

void LoginViewController::signInRefused() {
    if (isBusy_)
        setBusy(false);
}

void LoginViewController::receiveSignIn(const JSON& payload) {
    const auto user = mapLenient<LoginUserModel>(payload.rawString());
    if (!user)
        return;
    services_.settings->setLoginToken(user->token);
    services_.settings->setUserInfo(mapAccessors<UserBaseModel>(payload["user"]));
    services_.settings->synchronize();
    showMainView();
}

void LoginViewController::enterLocally() {
    if (isBusy_)
        return;
    setBusy(true);
    services_.enterLocally(this, [this](const Result<void>& result) {
        setBusy(false);
        if (result)
            showMainView();
        else
            ProgressHUD::shared().error(result.error());
    });
}

/// A keyring that is unlocked only now still signs in by itself.
void LoginViewController::awaitStoredSignIn() {
    const auto enter = [self = QPointer<LoginViewController>(this)] {
        if (self && !self->isBusy_ && self->services_.settings->isAutoLogin())
            self->showMainView();
    };
    if (services_.settings->isAutoLogin() &&
        services_.settings->awaitLateToken(enter)) // said in the window, once it is there
        onMain(QPointer<LoginViewController>(this),
               [] { ProgressHUD::shared().toast(tr("请解锁密钥环，以自动登录")); });
}

QString LoginViewController::mainTitle() { return tr("主面板"); }

void LoginViewController::showMainView() {
    auto* window = qobject_cast<QMainWindow*>(this->window());
    if (window == nullptr || !services_.makeMainView)
        return;
    window->setWindowTitle(mainTitle());
    window->setCentralWidget(services_.makeMainView()); // this page goes
    centre(*window, mainSize * fontScale());
}

void LoginViewController::setBusy(bool isBusy) {
    isBusy_ = isBusy;
    if (isBusy)
        ProgressHUD::shared().show(tr("登录中..."), ProgressHUDMode::indeterminate);
    else
        ProgressHUD::shared().hide(true);
}

void LoginViewController::autoLoginTap() {
    selectAutoLogin_ = controls().autoLoginBtn->isChecked();
    services_.settings->setAutoLogin(selectAutoLogin_);
    consoleLog(selectAutoLogin_ ? QStringLiteral("选中 ✅") : QStringLiteral("未选中 ❌"));
}

void LoginViewController::contractTap() {
    consoleLog(QStringLiteral("label 被点击了！"));
    ContactView::present(*services_.http, *services_.images);
}

} // namespace parlowen

#include "moc_LoginViewController.cpp"
