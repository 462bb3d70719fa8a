#include "support/BackendFixture.h"
#include "support/SimulatedAudioServer.h"
#include "support/WidgetTest.h"
#include <CoreAudio/AudioHardwareService.h>
#include <Main/AppDelegate.h>
#include <Main/Composition.h>
#include <Main/HomeLeftView.h>
#include <Main/LaterStart.h>
#include <Main/SingleInstance.h>
#include <Main/TopBarView.h>
#include <Page/AIInterviewPages/AISettingViewController.h>
#include <Page/AboutMeViewController.h>
#include <Page/MineViewController.h>
#include <Page/View/InterviewTypeView.h>
#include <QLocalServer>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/ProgressHUD.h>

namespace parlowen::testing {
namespace {

/// The program's windows against a scripted backend, without a tray.
struct ShellTest : BackendFixture {
    ShellTest() {
        QFile::remove(UserDefaults::defaultPath());
        QApplication::setQuitOnLastWindowClosed(false);
        AudioHardwareService::install(std::make_shared<SimulatedAudioServer>());
        server_.enqueue(Reply::json(200, R"({"code":0,"data":{}})"));
    }
    void start(const QString& token, bool automatic, const QString& page = {}) {
        stored().useBackend(server_.baseUrl(), false);
        stored().setLoginToken(token);
        stored().setAutoLogin(automatic);
        CommandLine line;
        line.action = CommandLine::Action::Shell;
        line.backend = server_.baseUrl();
        line.page = page;
        run_.reset();
        run_ = std::make_unique<AppDelegate>(line, [this](int status) { status_ = status; });
        run_->applicationDidFinishLaunching();
    }
    Settings& stored() {
        static UserDefaults defaults;
        static Settings settings(defaults);
        return settings;
    }
    ViewController& view() { return *run_->mainView(); }
    HomeLeftView& column() { return *view().sidebar()->leftView(); }
    bool isLogin() const { return qobject_cast<LoginViewController*>(run_->window()->centralWidget()) != nullptr; }
    bool isAskedFor(const QByteArray& path) const {
        return waitFor([&] {
            return std::ranges::any_of(server_.requests(), [&](const auto& request) { return request.target == path; });
        });
    }
    static QWidgetList windowsInSight() {
        QWidgetList windows = QApplication::topLevelWidgets();
        windows.removeIf([](const QWidget* window) { return !window->isVisible(); });
        return windows;
    }
    bool waitForSession() const {
        return waitFor([this] { return run_->session() != nullptr && run_->session()->window()->isVisible(); });
    }
    void choose(const QString& entry) const {
        for (QAction* action : run_->tray().menu()->actions()) {
            if (action->text() == entry)
                action->trigger();
        }
    }
    void signIn() {
        server_.enqueue(Reply::json(200, R"({"code":0,"data":{"token":"t"}})"));
        const LoginControls& login = static_cast<LoginViewController*>(run_->window()->centralWidget())->controls();
        login.phoneLabel->setText("13800000001");
        login.secureField->setText("secret-1");
        login.loginButton->click();
    }
    CommonTipView* question() const { return run_->window()->findChild<CommonTipView*>("staysWithoutTray"); }
    void askedOnClosing() {
        run_->window()->close();
        ASSERT_TRUE(run_->window()->isVisible() && question() != nullptr);
    }

    std::optional<int> status_;
    std::unique_ptr<AppDelegate> run_;
};

TEST_F(ShellTest, TheStoredSignInDecidesWhichWindowOpensAndItIsTheOneThatComesBack) {
    for (const auto& [token, automatic] : {std::pair("", true), {"t", false}}) {
        start(token, automatic);
        EXPECT_TRUE(isLogin());
        EXPECT_EQ(run_->window()->windowTitle(), "登录");
        EXPECT_EQ(run_->window()->size(), QSize(510, 460));
    }
    EXPECT_TRUE(waitFor([this] { return log_.lines().contains("✅ 窗口已显示"); })) << "the backend waits for it";
    start("t", true);
    EXPECT_EQ(run_->window()->windowTitle(), "");
    EXPECT_EQ(view().size(), QSize(650, 400));
    EXPECT_EQ(column().parentWidget()->width(), 180);
    EXPECT_TRUE(column().toolBtn()->isHighlighted());
    EXPECT_THAT(windowsInSight(), ElementsAre(run_->window()));

    const QMainWindow* window = run_->window();
    ASSERT_NO_FATAL_FAILURE(askedOnClosing());
    question()->sureButton()->click();
    EXPECT_FALSE(window->isVisible());
    run_->showMainWindow();
    EXPECT_TRUE(window->isVisible() && run_->window() == window);
    run_->window()->close();
    EXPECT_FALSE(window->isVisible()) << "asked once";
    for (const bool isInSight : {true, false}) {
        EXPECT_TRUE(run_->applicationShouldHandleReopen(isInSight));
        EXPECT_EQ(window->isVisible(), !isInSight);
    }
    EXPECT_EQ(status_, std::nullopt);
    ASSERT_TRUE(QTest::qWaitForWindowActive(run_->window()));
    QTest::keyClick(run_->window(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_TRUE(waitFor([this] { return status_ == 0; }));
}

TEST_F(ShellTest, AWindowWhoseClosingIsToEndTheProgramDoesSo) {
    start("", false);
    ASSERT_NO_FATAL_FAILURE(askedOnClosing());
    run_->window()->close();
    EXPECT_EQ(run_->window()->findChildren<CommonTipView*>("staysWithoutTray").size(), 1) << "it is being asked";
    question()->cancelButton()->click();
    EXPECT_TRUE(waitFor([this] { return status_ == 0; }));
    start("", false);
    status_.reset();
    run_->window()->close();
    EXPECT_TRUE(waitFor([this] { return status_ == 0; })) << "the answer is remembered";
}

TEST_F(ShellTest, TheSidebarMakesEachPageAnew) {
    start("t", true);
    EXPECT_EQ(column().buttons().size(), 7U);
    std::vector<QString> shown;
    for (const HomeLeftCustomView* button : column().findChildren<HomeLeftCustomView*>()) {
        if (button->isVisible())
            shown.push_back(button->titleLab()->text());
    }
    EXPECT_THAT(shown, ElementsAre("AI面试", "个人中心", "面试设置", "版本信息", "退出登录"));
    const auto press = [this](HomeLeftCustomView* button) {
        QTest::mouseClick(button, Qt::LeftButton);
        EXPECT_EQ(column().selectIndex, button->menuTag);
        EXPECT_TRUE(button->isHighlighted());
    };
    press(column().myBtn());
    EXPECT_NE(qobject_cast<MineViewController*>(view().page()), nullptr);
    EXPECT_FALSE(column().toolBtn()->isHighlighted());
    press(column().settingBtn());
    EXPECT_NE(qobject_cast<AISettingViewController*>(view().page()), nullptr);
    press(column().versionBtn());
    EXPECT_NE(qobject_cast<AboutMeViewController*>(view().page()), nullptr);
    view().showPage(2);
    EXPECT_THAT(view().page()->children(), IsEmpty());
    EXPECT_FALSE(column().versionBtn()->isHighlighted());
    press(column().toolBtn());
    EXPECT_NE(qobject_cast<InterviewSettingViewController*>(view().page()), nullptr);
    EXPECT_TRUE(log_.lines().contains("选中了 5"));
}

TEST_F(ShellTest, SigningOutIsToldToTheBackendAndLeavesTheSignInAlone) {
    start("t", true, "account");
    ASSERT_TRUE(waitFor([this] { return qobject_cast<MineViewController*>(view().page()) != nullptr; }));
    stored().setUserInfo(UserBaseModel{});
    QWidget other;
    other.show();
    const QPointer<QMainWindow> main = run_->window();
    for (int i = 0; i < 2; ++i)
        QTest::keyClick(column().loingouBtn(), Qt::Key_Return);
    EXPECT_TRUE(isAskedFor("/user/logout"));
    EXPECT_EQ(column().selectIndex, signOutPage);
    EXPECT_FALSE(column().myBtn()->isHighlighted());
    EXPECT_TRUE(waitFor([] { return ProgressHUD::shared().status() == "账号已退出登录"; }));
    EXPECT_EQ(stored().loginToken(), "t") << "a moment later";
    ASSERT_TRUE(waitFor([&] { return isLogin() && !main; }));
    EXPECT_THAT(windowsInSight(), ElementsAre(run_->window()));
    EXPECT_EQ(stored().loginToken(), std::nullopt);
    EXPECT_FALSE(stored().isAutoLogin() || stored().userInfo());
    EXPECT_TRUE(log_.lines().contains("======="));
    EXPECT_EQ(std::ranges::count(server_.requests(), "/user/logout", &ScriptedHttpServer::Request::target), 1);
    signIn();
    ASSERT_TRUE(waitFor([this] { return !isLogin(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(qobject_cast<MineViewController*>(view().page()), nullptr) << "that page was asked for once";
}

TEST_F(ShellTest, ARefusedTokenEndsTheInterviewAndBringsTheSignInAlone) {
    start("t", true);
    CommandLine wish;
    wish.action = CommandLine::Action::Shell;
    wish.start = CommandLine::Start::Rehearsal;
    EXPECT_TRUE(run_->carryOut(wish));
    ASSERT_TRUE(waitForSession());
    EXPECT_EQ(run_->session()->window()->controller()->services().streaming.baseUrl, server_.baseUrl());
    EXPECT_FALSE(run_->window()->isVisible());
    const QPointer<LiveSession> session = run_->session();
    LaunchAnswer answer = answerLaterStart(*run_, {{"parlowen", "--start", "rehearsal"}, {}, Language::English});
    EXPECT_TRUE(answer.isTaken && answer.problem.contains("going on") && run_->session() == session) << "one at a time";
    answer = answerLaterStart(*run_, {{"parlowen", "--page", "login"}, {}, Language::Chinese});
    EXPECT_TRUE(answer.problem.contains("正在进行") && run_->session() == session && !isLogin());
    const auto signInChecks = [this] {
        return std::ranges::count(server_.requests(), "/user/info", &ScriptedHttpServer::Request::target);
    };
    ASSERT_TRUE(isAskedFor("/user/info")) << "at the start";
    const auto before = signInChecks();
    Q_EMIT session->window()->controller()->happened(
        session::AnswerEnded{1, {AnswerEnd::Outcome::Failed, AnswerEnd::Cause::SignInRefused, {}}});
    EXPECT_TRUE(waitFor([&] { return signInChecks() > before; }));
    ScriptedHttpServer refusing;
    refusing.enqueue(Reply::json(401, R"({"code":0})"));
    HttpDatas::shared().requestData(refusing.baseUrl() + "/x", HttpMethod::GET, {}, {}, nullptr);
    const ProgressHUD& told = ProgressHUD::shared();
    EXPECT_TRUE(waitFor([&] { return isLogin() && told.isVisible() && told.window() == run_->window(); }));
    ASSERT_TRUE(waitFor([&] { return !session; }));
    EXPECT_TRUE(waitFor([this] { return windowsInSight() == QWidgetList{run_->window()}; }));
    EXPECT_EQ(stored().loginToken(), std::nullopt);
    const QMainWindow* login = run_->window();
    HttpDatas::shared().requestData(refusing.baseUrl() + "/x", HttpMethod::GET, {}, {}, nullptr);
    ASSERT_TRUE(waitFor([&] { return refusing.requests().size() == 2; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(run_->window(), login) << "what is typed there stays";
}

TEST_F(ShellTest, ALaterStartIsDoneOnlyWithTheBackendInUseAndSaidWhereItIsNot) {
    start("t", true);
    const auto later = [this](const QStringList& options, const QString& backend) {
        return answerLaterStart(*run_, {QStringList("parlowen") + options, backend, Language::English}).problem;
    };
    EXPECT_EQ(later({"--page", "about"}, server_.baseUrl()), "");
    EXPECT_NE(qobject_cast<AboutMeViewController*>(view().page()), nullptr);
    EXPECT_TRUE(later({"--page", "account"}, "https://other.example/api/v1").contains(server_.baseUrl()));
    EXPECT_NE(qobject_cast<AboutMeViewController*>(view().page()), nullptr);
    EXPECT_TRUE(ProgressHUD::shared().status().contains("https://other.example/api/v1"));
    EXPECT_TRUE(later({"--verbose"}, {}).contains("log"));
    EXPECT_EQ(later({"--ui-language", "en"}, {}), "");
    EXPECT_TRUE(waitFor([this] { return column().myBtn()->titleLab()->text() == "Account"; }));
    EXPECT_EQ(later({"--ui-language", "zh"}, {}), "");
}

TEST_F(ShellTest, AnInterviewEndsWithTheProgramAndOtherwiseBringsTheMainWindowBack) {
    start("t", true);
    choose("用示例排练");
    ASSERT_TRUE(waitForSession());
    run_->session()->window()->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(run_->session()->window()));
    QTest::keyClick(run_->session()->window(), Qt::Key_0, Qt::ControlModifier);
    EXPECT_TRUE(run_->window()->isVisible());
    ASSERT_TRUE(QTest::qWaitForWindowActive(run_->window()));
    QTest::keyClick(run_->window(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_TRUE(run_->session() != nullptr && QApplication::focusWidget()->inherits("QPushButton")) << "asked first";
    run_->window()->hide();
    run_->session()->window()->close();
    EXPECT_TRUE(waitFor([this] { return run_->window()->isVisible() && run_->session() == nullptr; }));
    choose("用示例排练");
    ASSERT_TRUE(waitForSession());
    const QPointer<AIInterviewDetailController> session = run_->session()->window()->controller();
    bool closed = false;
    QObject::connect(session, &AIInterviewDetailController::closing, [&closed] { closed = true; });
    choose("退出");
    EXPECT_TRUE(closed);
    EXPECT_FALSE(run_->window()->isVisible());
    EXPECT_FALSE(run_->carryOut({})) << "it is about to end";
    EXPECT_TRUE(waitFor([this] { return status_ == 0; }));
}

TEST_F(ShellTest, ARehearsalThatIsAskedForAtTheSignInComesAfterIt) {
    start("", false);
    choose("用示例排练");
    ASSERT_TRUE(isLogin());
    signIn();
    EXPECT_TRUE(waitForSession());
    choose("退出");
    EXPECT_TRUE(waitFor([this] { return status_ == 0; }));
}

/// What keys can reach, and what a screen reader can name.
struct ReachTest : ShellTest {
    static QString nameOf(const QWidget* widget) {
        auto* interface = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
        return interface == nullptr ? QString() : interface->text(QAccessible::Name);
    }
    static void expectNames(const QWidget& root) {
        for (const QWidget* widget : root.findChildren<const QWidget*>()) {
            const bool isControl = (widget->focusPolicy() & Qt::TabFocus) != 0 && !widget->inherits("QLabel");
            EXPECT_TRUE(!isControl || !widget->isVisibleTo(&root) || widget->focusProxy() || !nameOf(widget).isEmpty())
                << widget->metaObject()->className() << " " << widget->objectName().toStdString();
        }
    }
    /// Names, and that Tab comes to each button and field in sight.
    static void expectReach(QWidget& root) {
        root.window()->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(root.window()));
        expectNames(root);
        QSet<const QWidget*> reached;
        for (int i = 0; i < 200; ++i) {
            QTest::keyClick(root.window(), Qt::Key_Tab);
            reached.insert(QApplication::focusWidget());
        }
        for (const QWidget* widget : root.findChildren<const QWidget*>()) {
            const bool counts = widget->inherits("QAbstractButton") || widget->inherits("QLineEdit") ||
                                widget->inherits("QComboBox") || widget->inherits("QSlider");
            // In a group of which one is chosen, the arrows go on from that one.
            const auto* button = qobject_cast<const QAbstractButton*>(widget);
            const bool isChoice = button != nullptr && button->autoExclusive() && !button->isChecked();
            EXPECT_TRUE(!counts || isChoice || !widget->isVisible() || !widget->isEnabled() || reached.contains(widget))
                << widget->metaObject()->className() << " " << nameOf(widget).toStdString();
        }
    }
};

TEST_F(ReachTest, EveryControlOfEveryPageIsReachedByKeysAndHasAName) {
    start("", false);
    ASSERT_NO_FATAL_FAILURE(expectReach(*run_->window()));
    start("t", true);
    for (const PageEntry& entry : allPages()) {
        SCOPED_TRACE(entry.name);
        if (entry.index == loginPage)
            continue;
        view().showPage(entry.index);
        ASSERT_NO_FATAL_FAILURE(expectReach(*run_->window()));
    }
    view().topBar()->modeSwithButtonClicked();
    ASSERT_TRUE(waitFor([this] { return run_->window()->findChild<PopView*>() != nullptr; }));
    expectNames(*run_->window());
    EXPECT_EQ(nameOf(QApplication::focusWidget()), "选择面试类型");
    const QList<InterviewContentView*> kinds = run_->window()->findChildren<InterviewContentView*>();
    ASSERT_EQ(kinds.size(), 3);
    kinds.last()->toggle(); // as a screen reader's own action does
    EXPECT_TRUE(kinds.last()->isSelected() && kinds.last()->selectImageView()->isVisible());
}

TEST(SingleInstanceTest, ALaterStartIsHandedOverUntilTheFirstHasGoneAndNothingLeftBehindStops) {
    const QTemporaryDir directory;
    const QString folder = directory.filePath("made/here");
    auto first = std::make_unique<SingleInstance>(folder);
    ASSERT_EQ(first->begin({}), SingleInstance::Role::First);
    QString problem;
    const auto launch = [&](int patience) {
        std::optional<SingleInstance::Role> role;
        const std::unique_ptr<QThread> other(QThread::create([&] {
            SingleInstance later(folder);
            role = later.begin({{"parlowen", "--page", "关于"}, "https://b.example", Language::Chinese}, patience);
            problem = later.problem();
        }));
        other->start();
        EXPECT_TRUE(waitFor([&other] { return other->isFinished(); }, 20'000));
        return *role;
    };
    EXPECT_EQ(launch(100), SingleInstance::Role::Unanswered) << "nobody takes it";
    Launch taken;
    first->onLaunch = [&taken](const Launch& handed) {
        taken = handed;
        return LaunchAnswer{true, "不能"};
    };
    EXPECT_EQ(launch(10'000), SingleInstance::Role::HandedOver);
    EXPECT_EQ(problem, "不能");
    EXPECT_EQ(taken.arguments, (QStringList{"parlowen", "--page", "关于"}));
    EXPECT_EQ(taken.backend, "https://b.example");
    EXPECT_EQ(taken.language, Language::Chinese);
    first->onLaunch = [&first](const Launch&) {
        QMetaObject::invokeMethod(
            qApp, [&first] { first.reset(); }, Qt::QueuedConnection);
        return LaunchAnswer();
    };
    EXPECT_EQ(launch(10'000), SingleInstance::Role::First) << "the first one was about to end";

    QFile leftBehind(folder + "/windows.socket");
    ASSERT_TRUE(leftBehind.open(QIODevice::WriteOnly));
    EXPECT_EQ(SingleInstance(folder).begin({}), SingleInstance::Role::First);
    EXPECT_EQ(SingleInstance("/proc/nowhere").begin({}), SingleInstance::Role::First);
}

TEST_F(ShellTest, WhatFailsInTheSameWordsIsToldOnceAtATime) {
    const Alert alert{"温馨提示", "网络错误", "", AlertStyle::warning};
    for (const int turn : {1, 2}) {
        qsizetype shown = 0;
        QTimer::singleShot(0, qApp, [&] {
            Composition::alertInFront(alert);
            const QWidgetList windows = windowsInSight();
            shown = std::ranges::count_if(windows, [](auto* window) { return qobject_cast<QMessageBox*>(window); });
            for (QWidget* window : windows)
                window->close();
        });
        Composition::alertInFront(alert);
        EXPECT_EQ(shown, 1) << turn;
    }
}

} // namespace
} // namespace parlowen::testing
