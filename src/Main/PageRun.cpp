#include "PageRun.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Network/Alert.h>
#include <Tools/KXAudioRouter.h>
#include <Tools/PopView/Alert.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/Windows.h>

#include <QMainWindow>
#include <utility>

namespace parlowen {

namespace {

QMessageBox::Icon iconOf(AlertStyle style) {
    switch (style) {
    case AlertStyle::informational:
        return QMessageBox::Information;
    case AlertStyle::critical:
        return QMessageBox::Critical;
    case AlertStyle::warning:
        break;
    }
    return QMessageBox::Warning;
}

void showModally(const Alert& alert) { showAlert(alert.title, alert.text, alert.icon, iconOf(alert.style)); }

} // namespace

PageRun::PageRun(const CommandLine& line, std::function<void(int)> finished)
    : page_(line.page)
    , finished_(std::move(finished))
    , composition_(settings_, line.backend)
    , window_(context()) {
    ProgressHUD::shared().mainWindowContent = [self = QPointer<PageRun>(this)]() -> QWidget* {
        if (!self)
            return nullptr;
        return self->login_ != nullptr ? self->login_->centralWidget() : &self->window_;
    };
    connect(&window_, &PageWindow::closed, this, [this] { finished_(0); });
    useHooks(showModally);
}

PageRun::~PageRun() {
    composition_.setHooks({});
    delete std::exchange(login_, nullptr);
    delete session_;
    waitForBackground(); // where a session stops its services
}

PageContext PageRun::context() {
    SetupServices setup;
    setup.settings = &settings_;
    setup.http = &composition_.http();
    setup.router = []() -> AudioRouting& { return KXAudioRouter::shared(); };
    setup.makeSession = [this](const SessionSound& sound) { return makeSession(sound); };
    // Signed out, there is nothing to show but a new sign-in.
    return {settings_, composition_.http(), std::move(setup), &composition_.images(), [this] { connectBackend(); }};
}

void PageRun::useHooks(std::function<void(const Alert&)> alert) {
    Composition::Hooks hooks;
    hooks.alert = std::move(alert);
    hooks.forcedSignOut = [this] {
        if (!signIn_ || !signIn_->tokenRefused())
            connectBackend();
    };
    composition_.setHooks(std::move(hooks));
}

void PageRun::begin() {
    window_.QWidget::show();
    connectBackend();
}

void PageRun::connectBackend() {
    window_.say(tr("正在连接服务…"));
    const auto again = [this] { connectBackend(); };
    if (const Result<void> usable = composition_.backend().checkAddress(); !usable) {
        window_.say(usable.error(), again);
        return;
    }
    composition_.connectBackend(this, [this, again](const Result<Backend::Access>& access) {
        if (access && findPage(page_)->index == loginPage)
            openLogin(access->trust);
        else if (access)
            signIn(access->trust);
        else
            window_.say(access.error(), again);
    });
}

void PageRun::signIn(const LocalTrust& trust) {
    signIn_ = std::make_unique<SessionSignIn>(composition_.http(), settings_, trust);
    signIn_->run([this](const Result<void>& signedIn) {
        if (signedIn)
            window_.showPage(findPage(page_)->index);
        else
            window_.say(signedIn.error(), [this] { connectBackend(); });
    });
}

void PageRun::openLogin(const LocalTrust& trust) {
    LoginServices services{&composition_.http(), &settings_, &composition_.images(), {}, {}, {}};
    services.makeMainView = [this] { return makeMainView(); };
    if (trust.covers(QUrl(composition_.http().baseUrl()).host()))
        services.enterLocally = [this, trust](QObject*, const LoginServices::Entered& entered) {
            enterLocally(trust, entered);
        };
    QMainWindow* const opened = LoginViewController::openWindow(services);
    login_ = opened;
    connect(opened, &QObject::destroyed, this, [this, opened] {
        if (login_ == opened) {
            login_ = nullptr;
            finished_(0);
        }
    });
    window_.hide(); // its end would be the program's
    closeOtherWindows(opened);
}

/// With this machine's own account, whatever sign-in is stored.
void PageRun::enterLocally(const LocalTrust& trust, const LoginServices::Entered& entered) {
    settings_.setLoginToken(std::nullopt);
    signIn_ = std::make_unique<SessionSignIn>(composition_.http(), settings_, trust);
    signIn_->run(entered);
}

QWidget* PageRun::makeMainView() {
    auto* main = new PageWindow(context());
    main->showPage(setupPage);
    return main;
}

SessionWindow* PageRun::makeSession(const SessionSound& sound) {
    session_ = new LiveSession(composition_, sound, this);
    useHooks(Composition::alertInPassing());
    connect(session_, &QObject::destroyed, this, [this] { useHooks(showModally); });
    return session_->window();
}

void PageRun::interrupt() {
    if (session_ && session_->window()->isVisible())
        session_->window()->close();
    onMain(QPointer<PageRun>(this), [this] { finished_(0); });
}

} // namespace parlowen
