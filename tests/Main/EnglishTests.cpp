#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ChosenLanguage.h>
#include <Login/LoginViewController.h>
#include <Main/ViewController.h>
#include <Network/ImageLoader.h>
#include <Page/View/LanguageSwitch.h>
#include <Tools/PopView/Translation.h>

#include "WindowRig.h"
#include "support/SimulatedAudioServer.h"

namespace parlowen::testing {
namespace {

/// Windows that begin in English.
class EnglishTest : public WindowRig {
protected:
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
    SetupServices setup{&settings_, &http_, [this]() -> AudioRouting& { return router_; }, {}, {}};
    ViewController window({settings_, http_, std::move(setup), &images_});
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

} // namespace
} // namespace parlowen::testing
