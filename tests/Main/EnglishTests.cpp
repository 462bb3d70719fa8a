#include "WindowRig.h"
#include "support/FakeCapture.h"
#include "support/SimulatedAudioServer.h"
#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ChosenLanguage.h>
#include <Login/LoginViewController.h>
#include <Main/ViewController.h>
#include <Network/ImageLoader.h>
#include <Page/View/LanguageSwitch.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Translation.h>

namespace parlowen::testing {
namespace {

/// Windows that begin in English.
struct EnglishTest : WindowRig {
    EnglishTest() {
        AudioHardwareService::install(std::make_shared<SimulatedAudioServer>());
        speak(Language::English);
    }
    ~EnglishTest() override {
        window_.reset();
        speak(std::nullopt);
    }
    static void speak(std::optional<Language> language) {
        chooseLanguage(language);
        translateWindows();
        QCoreApplication::processEvents(); // windows hear of it later
    }
    static void press(QWidget& in) {
        in.findChild<LanguageSwitch*>()->click();
        QCoreApplication::processEvents();
    }
    bool closeIsCalled(const QString& name) {
        return part<QToolButton>("closeButton").accessibleName().startsWith(name);
    }

    PageContext context() {
        SetupServices setup{&settings_, &http_, [this]() -> AudioRouting& { return router_; }, {}, {}};
        setup.capture = [](InputObserver) {
            return [] { return std::make_unique<FakeCapture>(std::make_shared<FakeInput>()); };
        };
        return {settings_, http_, std::move(setup), &images_};
    }

    ImageLoader images_{directory_.filePath("images")};
};

TEST_F(EnglishTest, ASessionChangesItsLanguageWhileItRuns) {
    openActive();
    EXPECT_TRUE(window_->windowTitle() == "AI interview" && closeIsCalled("Close"));
    speak(Language::Chinese);
    EXPECT_TRUE(window_->windowTitle() == "AI面试" && closeIsCalled("关闭"));
    speak(Language::English);
    EXPECT_TRUE(window_->windowTitle() == "AI interview" && closeIsCalled("Close"));
}

TEST_F(EnglishTest, TheSwitchTurnsWindowsToTheOtherLanguageAndStoresIt) {
    ViewController window(context());
    window.showPage(aboutPage);
    window.show();
    const auto says = [&](const QString& start) {
        const auto labels = window.page()->findChildren<QLabel*>();
        return std::ranges::any_of(labels, [&](const QLabel* label) { return label->text().startsWith(start); });
    };
    press(*window.page());
    EXPECT_EQ(settings_.uiLanguage(), Language::Chinese);
    EXPECT_TRUE(says("当前版本："));
    press(*window.page());
    EXPECT_EQ(Settings::uiLanguageIn(directory_.filePath("settings.ini")), Language::English);
    EXPECT_FALSE(says("当前版本："));
    LoginViewController login({&http_, &settings_, &images_, {}, {}, {}});
    login.show();
    login.controls().phoneLabel->setText("138");
    login.controls().secureField->setText("secret");
    press(login);
    EXPECT_EQ(login.controls().loginButton->text(), "登录");
    EXPECT_EQ(login.controls().phoneLabel->text() + login.controls().secureField->text(), "138secret");
    EXPECT_EQ(login.controls().languageSwitch->text(), "English");
}

/// Texts that are wider or longer than their widgets, and pages that scroll sideways.
QStringList cutIn(const QWidget& page) {
    QStringList cut;
    for (const QScrollArea* area : page.findChildren<const QScrollArea*>()) {
        if (area->horizontalScrollBar()->maximum() > 0)
            cut << "sideways";
    }
    for (const QWidget* part : page.findChildren<const QWidget*>()) {
        const QString text = part->property("text").toString();
        const bool counts = part->inherits("QLabel") || part->inherits("QPushButton");
        const int needed = part->hasHeightForWidth() ? part->heightForWidth(part->width()) - part->height()
                                                     : part->sizeHint().width() - part->width();
        const bool elides = qobject_cast<const ElidedLabel*>(part) != nullptr;
        if (counts && part->isVisible() && !text.isEmpty() && !elides && needed > (part->inherits("QLabel") ? 1 : 0))
            cut << text;
    }
    return cut;
}

TEST_F(EnglishTest, NoTextIsCutInASmallWindowInEitherLanguage) {
    settings_.setUserInfo(UserBaseModel{});
    AIInterviewModel system; // with a program to choose, and the longest names
    system.deviceType = 1;
    settings_.setAiInterviewSetModel(system);
    for (const Language language : {Language::Chinese, Language::English}) {
        speak(language);
        ViewController window(context());
        for (const QSize size : {QSize(600, 400) * fontScale(), QSize(720, 600)}) {
            for (const PageEntry& entry : allPages()) {
                if (entry.index == loginPage)
                    continue;
                window.resize(size);
                window.showPage(entry.index);
                window.show();
                EXPECT_TRUE(waitFor([&window] { return cutIn(window).isEmpty(); }))
                    << entry.name << ' ' << size.width() << ": " << cutIn(window).join(" | ").toStdString();
                if (const auto* setup = qobject_cast<InterviewSettingViewController*>(window.page())) {
                    const QPushButton& start = *setup->startButton();
                    EXPECT_TRUE(window.rect().contains(QRect(start.mapTo(&window, QPoint()), start.size())))
                        << "the start is out of sight";
                }
            }
        }
    }
}

} // namespace
} // namespace parlowen::testing
