#include "PageRun.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Network/Alert.h>
#include <Tools/KXAudioRouter.h>
#include <Tools/PopView/Alert.h>
#include <Tools/PopView/ProgressHUD.h>

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
    ProgressHUD::shared().mainWindowContent = [window = QPointer<QWidget>(&window_)] { return window.data(); };
    connect(&window_, &PageWindow::closed, this, [this] { finished_(0); });
    useHooks(showModally);
}

PageRun::~PageRun() {
    composition_.setHooks({});
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
    window_.say(QStringLiteral("正在连接服务…"));
    const auto again = [this] { connectBackend(); };
    if (const Result<void> usable = composition_.backend().checkAddress(); !usable) {
        window_.say(usable.error(), again);
        return;
    }
    composition_.connectBackend(this, [this, again](const Result<Backend::Access>& access) {
        if (access)
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
