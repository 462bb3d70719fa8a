#include "AppDelegate.h"

#include "Rehearsal.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Tools/KXAudioRouter.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QApplication>
#include <QEvent>
#include <QPushButton>
#include <QScreen>
#include <utility>

namespace parlowen {

namespace {

constexpr QSize smallestMainSize(600, 400); // at the usual font scale
constexpr double longestPaintSeconds = 1;   // the local service is started behind the first paint, not beside it
const QString leaveKey = QStringLiteral("leavesAnInterview"), stayKey = QStringLiteral("staysWithoutTray");

} // namespace

AppDelegate::AppDelegate(const CommandLine& line, std::function<void(int)> finished)
    : finished_(std::move(finished))
    , composition_(settings_, line.backend)
    , pending_(line)
    , menu_([this] { showMainWindow(); }, [this] { quitUnlessInterviewed(); })
    , tray_(trayActions())
    , shortcuts_(settings_, shortcutHooks()) {
    ProgressHUD::shared().mainWindowContent = [self = QPointer(this)]() -> QWidget* {
        return self && self->window_ ? self->window_->centralWidget() : nullptr;
    };
    Composition::Hooks hooks;
    hooks.alert = [this, passing = Composition::alertInPassing()](const Alert& alert) {
        if (session_)
            passing(alert);
        else
            Composition::alertInFront(alert);
    };
    hooks.forcedSignOut = [this] {
        if (signIn_ && signIn_->tokenRefused())
            return;
        openLogin();
        ProgressHUD::shared().containerView = nullptr; // an interview that has just been closed
        ProgressHUD::shared().toast(tr("登录已失效，请重新登录"));
    };
    composition_.setHooks(std::move(hooks));
    connect(&composition_.backend(), &Backend::portTaken, this, [](int port) {
        ProgressHUD::shared().error(
            tr("端口 %1 被别的程序占用，它不是您的服务，没有向它发送密码。已改用自己的服务。").arg(port));
    });
    connect(qApp, &QGuiApplication::commitDataRequest, this, &AppDelegate::endSession, Qt::DirectConnection);
    qApp->installEventFilter(this);
}

AppDelegate::~AppDelegate() {
    qApp->removeEventFilter(this);
    composition_.setHooks({});
    endSession();
    delete session_;
    delete window_;
}

PageContext AppDelegate::context() {
    SetupServices setup;
    setup.settings = &settings_;
    setup.http = &composition_.http();
    setup.router = []() -> AudioRouting& { return KXAudioRouter::shared(); };
    setup.makeSession = [this](const SessionSound& sound) {
        return takeSession(new LiveSession(composition_, sound, this));
    };
    if (!sampleInterview().isEmpty())
        setup.rehearse = [this] { rehearse(); };
    setup.mayStart = [this] {
        if (session_)
            raise(); // one at a time
        return session_ == nullptr;
    };
    return {settings_, composition_.http(), std::move(setup), &composition_.images(), [this] { openLogin(); }};
}

TrayIcon::Actions AppDelegate::trayActions() {
    TrayIcon::Actions actions;
    actions.show = [this] { raise(); };
    actions.interview = [this] { startInterview(); };
    if (!sampleInterview().isEmpty())
        actions.rehearse = [this] { rehearse(); };
    actions.quit = [this] { quit(); };
    return actions;
}

SessionShortcuts::Hooks AppDelegate::shortcutHooks() {
    SessionShortcuts::Hooks hooks;
    hooks.session = [this] { return session_ ? session_->window() : nullptr; };
    hooks.start = [this] { startInterview(); };
    hooks.failed = [](const QString& why) { ProgressHUD::shared().toast(tr("全局快捷键不可用：%1").arg(why)); };
    return hooks;
}

void AppDelegate::applicationDidFinishLaunching() {
    composition_.http().setHeld(true); // the pages ask for what they show as soon as they are there
    const bool hasToken = !settings_.loginToken().value_or(QString()).isEmpty();
    if (settings_.isAutoLogin() && hasToken && pending_.pageIndex() != loginPage)
        openMainWindow();
    else
        openLogin();
    afterDelay(longestPaintSeconds, QPointer(this), [this] {
        if (!std::exchange(isPainted_, true)) // it was opened out of sight
            findBackend();
    });
}

void AppDelegate::keepWindow(QMainWindow* window) {
    window_ = window;
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    menu_.serve(window);
}

void AppDelegate::openMainWindow() {
    auto* window = new QMainWindow; // without a title
    window->setAccessibleName(QGuiApplication::applicationDisplayName());
    keepWindow(window);
    window->setCentralWidget(makeMainView());
    const QRect room = window->screen()->availableGeometry();
    window->resize((ViewController::usualSize * fontScale()).boundedTo(room.size()));
    window->move(room.center() - window->rect().center());
    bringToFront(*window);
}

QWidget* AppDelegate::makeMainView() {
    auto* view = new ViewController(context());
    view->setMenu(&menu_);
    view->setMinimumSize((smallestMainSize * fontScale()).boundedTo(view->screen()->availableSize() * 0.9));
    onMain(QPointer(this), [this] { doPending(); });
    return view;
}

ViewController* AppDelegate::mainView() const {
    return window_ ? qobject_cast<ViewController*>(window_->centralWidget()) : nullptr;
}

LoginServices AppDelegate::loginServices() {
    LoginServices services{&composition_.http(), &settings_, &composition_.images(), {}, {}, {}};
    services.makeMainView = [this] { return makeMainView(); };
    if (composition_.backend().isLocalService())
        services.enterLocally = [this](QObject* context, const LoginServices::Entered& entered) {
            enterLocally([context = QPointer(context), entered](const Result<void>& result) {
                if (context)
                    entered(result);
            });
        };
    return services;
}

/// In the place of every other window.
void AppDelegate::openLogin() {
    if (window_ && mainView() == nullptr) {
        if (auto* page = qobject_cast<LoginViewController*>(window_->centralWidget()))
            page->signInRefused();
        closeOtherWindows(window_); // refused once more, for another request
        bringToFront(*window_);
        return;
    }
    const QPointer<QMainWindow> before = window_;
    keepWindow(LoginViewController::openWindow(loginServices()));
    if (session_) {
        session_->window()->setMainWindow(window_);
        session_->window()->end();
    }
    closeOtherWindows(window_);
    if (before)
        before->deleteLater(); // one of its buttons may be what asks for it
}

/// With this machine's own account, whatever sign-in is stored.
void AppDelegate::enterLocally(const LoginServices::Entered& entered) {
    composition_.connectBackend(this, [this, entered](const Result<Backend::Access>& access) {
        if (!access) {
            entered(failure(access.error()));
            return;
        }
        settings_.setLoginToken(std::nullopt);
        signIn_ = std::make_unique<SessionSignIn>(composition_.http(), settings_, access->trust);
        signIn_->run(entered);
    });
}

void AppDelegate::findBackend() {
    if (const Result<void> usable = composition_.backend().checkAddress(); !usable) {
        sayThatThereIsNoBackend(usable.error());
        return;
    }
    composition_.connectBackend(this, [this](const Result<Backend::Access>& access) {
        if (!access)
            sayThatThereIsNoBackend(access.error());
    });
}

void AppDelegate::sayThatThereIsNoBackend(const QString& why) {
    if (!window_)
        return;
    CommonTipView* card =
        CommonTipView::ask(window_->centralWidget(), tr("无法连接服务"), why, tr("退出程序"), tr("重试"));
    noBackendCard_ = card;
    connect(card->cancelButton(), &QPushButton::clicked, this, &AppDelegate::quit);
    // Dismissed by Escape, too: nothing is asked of a service before there is one.
    connect(card, &QObject::destroyed, this, [this] {
        if (!noBackendCard_ && !isQuitting_ && composition_.http().isHeld())
            findBackend();
    });
}

void AppDelegate::showMainWindow() { window_ ? bringToFront(*window_) : openMainWindow(); }

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows) {
    if (!hasVisibleWindows && window_)
        bringToFront(*window_);
    return true;
}

/// What the user looks at: the interview while there is one.
void AppDelegate::raise() { session_ ? bringToFront(*session_->window()) : showMainWindow(); }

bool AppDelegate::carryOut(const CommandLine& line) {
    if (isQuitting_)
        return false;
    pending_ = line;
    line.page.isEmpty() ? raise() : showMainWindow();
    if (line.pageIndex() == loginPage)
        openLogin();
    doPending();
    return true;
}

void AppDelegate::doPending() {
    if (mainView() == nullptr)
        return; // once somebody is signed in
    const CommandLine line = std::exchange(pending_, {});
    if (const auto page = line.pageIndex(); page && *page != loginPage)
        mainView()->showPage(*page);
    if (line.start == CommandLine::Start::Interview)
        startInterview();
    else if (line.start == CommandLine::Start::Rehearsal)
        rehearse();
}

void AppDelegate::startInterview() {
    raise();
    if (session_)
        return;
    if (mainView() == nullptr) {
        pending_.start = CommandLine::Start::Interview;
        return;
    }
    if (qobject_cast<InterviewSettingViewController*>(mainView()->page()) == nullptr)
        mainView()->showPage(setupPage);
    // After the page has heard that it is in sight, and asks whether the interview will be understood.
    const QPointer page(qobject_cast<InterviewSettingViewController*>(mainView()->page()));
    onMain(page, [page] { page->startInterview(); });
}

void AppDelegate::rehearse() {
    if (sampleInterview().isEmpty())
        return ProgressHUD::shared().error(tr("找不到示例录音，请重新安装 Parlowen。"));
    if (session_ || mainView() == nullptr) {
        raise();
        if (!session_)
            pending_.start = CommandLine::Start::Rehearsal;
        return;
    }
    // A session keeps to the backend as it is known when it is made.
    composition_.connectBackend(this, [this](const Result<Backend::Access>& access) {
        if (access && !session_ && mainView() != nullptr && !isQuitting_)
            openRehearsal();
    });
}

void AppDelegate::openRehearsal() {
    SessionWindow* opened = takeSession(new LiveSession(composition_, sampleInterview(), this));
    opened->setMainWindow(window_);
    opened->show();
    opened->activateWindow();
    window_->hide();
}

SessionWindow* AppDelegate::takeSession(LiveSession* session) {
    session_ = session;
    session->window()->addAction(menu_.showMainWindow());
    return session->window();
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event) {
    // A part of it will do: where its parts cover a window, nothing of its own is painted.
    if (!isPainted_ && event->type() == QEvent::Paint && watched->isWidgetType() &&
        static_cast<QWidget*>(watched)->window() == window_) {
        isPainted_ = true;
        onMain(QPointer(this), [this] { // once all of it is on the screen
            consoleLog(QStringLiteral("✅ 窗口已显示"));
            findBackend();
        });
    }
    if (event->type() == QEvent::Quit && !isQuitting_) {
        quit();
        return true;
    }
    if (event->type() == QEvent::Close && watched == window_ && !isQuitting_) {
        event->ignore();
        windowIsClosed();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void AppDelegate::windowIsClosed() {
    const auto stays = defaults_.boolean(stayKey);
    if (tray_.isInSight() || stays == true) {
        window_->hide();
        tray_.sayThatItIsHere();
    } else if (stays == false) {
        quitUnlessInterviewed();
    } else {
        askWhetherToStay();
    }
}

/// Once: where there is no tray, only a further start of the program brings it back.
void AppDelegate::askWhetherToStay() {
    if (window_->findChild<CommonTipView*>(stayKey) != nullptr)
        return;
    CommonTipView* card =
        CommonTipView::ask(window_->centralWidget(), tr("关闭窗口后继续运行吗？"),
                           tr("这个桌面没有托盘。留在后台时，再次启动 Parlowen 就会回到这个窗口。以后不再询问。"),
                           tr("退出程序"), tr("留在后台"));
    card->setObjectName(stayKey);
    card->sureBlock = [this] {
        defaults_.setBoolean(stayKey, true);
        window_->hide();
    };
    connect(card->cancelButton(), &QPushButton::clicked, this, [this] {
        defaults_.setBoolean(stayKey, false);
        quitUnlessInterviewed();
    });
}

void AppDelegate::endSession() {
    if (session_) // also where a shortcut has hidden it
        session_->window()->end();
    waitForBackground();
}

/// By the menu or its key, which one hits by mistake, too: not out of an interview unasked.
void AppDelegate::quitUnlessInterviewed() {
    if (!window_ || !session_)
        return quit();
    if (window_->findChild<CommonTipView*>(leaveKey))
        return;
    CommonTipView* card =
        CommonTipView::ask(window_->centralWidget(), tr("面试还在进行，要退出吗？"),
                           tr("退出会结束这场面试，窗口里的文字和回答随之消失。"), tr("继续面试"), tr("结束并退出"));
    card->setObjectName(leaveKey);
    card->cancelButton()->setFocus();
    card->sureBlock = [this] { quit(); };
}

void AppDelegate::quit() {
    if (std::exchange(isQuitting_, true))
        return;
    if (session_)
        session_->window()->setMainWindow(nullptr);
    endSession();
    if (window_)
        window_->hide();
    onMain(QPointer(this), [this] { finished_(0); });
}

} // namespace parlowen

#include "moc_AppDelegate.cpp"
