#include "support/CallSound.h"
#include "support/CapturedLog.h"
#include "support/PrivateAudioServer.h"
#include "support/WidgetTest.h"
#include <CoreAudio/AudioHardwareService.h>
#include <CoreAudio/PulseAudioServer.h>
#include <Main/AppDelegate.h>
#include <Page/AIInterviewPages/AISettingViewController.h>
#include <Page/AIInterviewPages/ResumeFlow.h>
#include <Page/MineViewController.h>
#include <Page/View/SettingFields.h>
#include <Page/View/UpdateResumeView.h>
#include <PulseAudio/PulseClient.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/ElidedLabel.h>

/// From the sign-in through the pages and a whole interview to the account's end, against the real service, which the
/// program starts, and a private audio server.
namespace parlowen::testing {
namespace {

struct PageRunTest : EitherAudioServer {
    void start() {
        ASSERT_NO_FATAL_FAILURE(startServer({QStringLiteral("module-null-sink sink_name=call rate=48000 channels=2")}));
        client_ = PulseClient::shared();
        client_->waitUntilKnown(std::chrono::seconds(5));
        AudioHardwareService::install(std::make_shared<PulseAudioServer>(client_));
        QApplication::setQuitOnLastWindowClosed(false);
        AIInterviewModel model;
        model.deviceType = 1;
        stored_.setAiInterviewSetModel(model);
        stored_.setAiInterviewType(1);
        stored_.setAiLangChinaModel(std::nullopt);
        stored_.clearSignIn();
        CommandLine line;
        line.action = CommandLine::Action::Shell;
        run_ = std::make_unique<AppDelegate>(line, [this](int status) { status_ = status; });
        run_->applicationDidFinishLaunching();
    }
    /// What the program's window shows, once it is of that kind; it then has the keyboard.
    template<class Page>
    Page& waitForPage() {
        const auto page = [this] { return qobject_cast<Page*>(run_->window()->centralWidget()); };
        if (!waitFor([&] { return page() != nullptr && run_->window()->isVisible(); }, 40'000))
            throw std::runtime_error("the page does not come behind " + log_.lines().last().toStdString());
        run_->window()->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(run_->window()));
        return *page();
    }
    void signInByNumber() {
        auto& login = waitForPage<LoginViewController>();
        QTest::keyClicks(login.controls().phoneLabel, "13812345678");
        QTest::keyClicks(login.controls().secureField, "secret-1");
        QTest::keyClick(login.controls().secureField, Qt::Key_Return);
    }
    void uploadResume(ViewController& main) {
        main.showPage(aiSettingsPage);
        auto& page = *static_cast<AISettingViewController*>(main.page());
        QString alert;
        page.resumeFlow()->showAlert = [&](const QString& title, const QString& text) { alert = title + "|" + text; };
        const QTemporaryDir folder;
        QPdfWriter writer(folder.filePath("简历.pdf"));
        QPainter(&writer).drawText(400, 400, "Senior engineer who led the payments team at Acme");
        page.resumeFlow()->uploadResume(QUrl::fromLocalFile(folder.filePath("简历.pdf")));
        EXPECT_TRUE(waitFor([&] { return alert == "上传成功|文件 简历.pdf 已成功上传"; }, 60'000));
        EXPECT_EQ(page.updateResumeView()->updateLabel()->text(), "已选择文件：简历.pdf");
    }
    InterviewSettingViewController* setup() const {
        return qobject_cast<InterviewSettingViewController*>(run_->mainView()->page());
    }
    CommonTipView* question() const { return run_->window()->findChild<CommonTipView*>(); }
    void startInterview() {
        QTest::mouseClick(setup()->startButton(), Qt::LeftButton);
        ASSERT_TRUE(waitFor([this] { return question() != nullptr; })) << "the service hears no Chinese";
        QTest::mouseClick(question()->sureButton(), Qt::LeftButton);
        EXPECT_EQ(stored_.aiLangChinaModel()->original_key, "en-US");
        ASSERT_TRUE(waitFor([this] { return run_->session() && run_->session()->window()->isVisible(); }, 20'000));
        EXPECT_FALSE(run_->window()->isVisible());
    }
    void expectHeard() {
        const AIInterviewDetailController& session = *run_->session()->window()->controller();
        ASSERT_TRUE(
            waitFor([&] { return session.recognition().state == RecognitionStatus::State::Recognizing; }, 40'000));
        const Speaker speaker(sampleSpeech(0, 1).sound);
        EXPECT_TRUE(waitFor([&] { return !session.topArr().empty(); }, 60'000));
    }

    const CapturedLog log_;
    std::shared_ptr<PulseClient> client_;
    UserDefaults defaults_;
    Settings stored_{defaults_};
    std::unique_ptr<AppDelegate> run_;
    std::optional<int> status_;
};

ON_EITHER_AUDIO_SERVER(PageRunTest);

TEST_P(PageRunTest, FromTheSignInThroughAnInterviewToTheEndOfTheAccount) {
    ASSERT_NO_FATAL_FAILURE(start());
    ASSERT_TRUE(waitFor([this] { return client_->state()->snapshot.defaultSink == "call"; }));
    hear({true, {}}, "call");
    EXPECT_EQ(client_->route()->choice()->serversDefault, "call") << "counts until the default is another one";
    ASSERT_NO_FATAL_FAILURE(signInByNumber());
    auto& main = waitForPage<ViewController>();
    const auto first = stored_.loginToken();
    ASSERT_TRUE(first);
    uploadResume(main);
    main.showPage(setupPage);
    {
        const PlayedTone tone(daemon->address(), QStringLiteral("call"));
        EXPECT_TRUE(waitFor([this] { return setup()->soundStrip()->meter()->litBars() > 6; }, 20'000));
        EXPECT_TRUE(waitFor([this] { return setup()->soundStrip()->programPopup()->findText("paplay") > 0; }))
            << "the programs that play are offered";
    }
    ASSERT_NO_FATAL_FAILURE(startInterview());
    ASSERT_NO_FATAL_FAILURE(expectHeard());
    QTest::mouseClick(run_->session()->window()->findChild<QToolButton*>("closeButton"), Qt::LeftButton);
    run_->session()->window()->findChild<CommonTipView*>()->sureButton()->click();
    EXPECT_TRUE(waitFor([this] { return run_->window()->isVisible() && run_->session() == nullptr; }));
    EXPECT_TRUE(setup()->soundStrip()->isListening());
    EXPECT_TRUE(waitFor([this] { return question() == nullptr; })) << "it has been answered";

    main.showPage(accountPage);
    auto* account = static_cast<MineViewController*>(main.page());
    ASSERT_TRUE(waitFor([&] { return account->userModel() && account->userModel()->phone.contains("13812345678"); }));
    ASSERT_TRUE(QTest::qWaitForWindowActive(run_->window()));
    account->recordButtons().back()->click();
    ASSERT_TRUE(waitFor([&] { return account->logoffTipView()->isVisible(); }));
    account->logoffTipView()->sureButton()->click();
    auto& login = waitForPage<LoginViewController>();
    EXPECT_EQ(stored_.loginToken(), std::nullopt);
    QTest::mouseClick(login.controls().localButton, Qt::LeftButton);
    waitForPage<ViewController>();
    EXPECT_TRUE(stored_.loginToken() && stored_.loginToken() != first);
    EXPECT_FALSE(status_);
    run_->quit();
    EXPECT_TRUE(waitFor([this] { return status_ == 0; }));
}

} // namespace
} // namespace parlowen::testing
