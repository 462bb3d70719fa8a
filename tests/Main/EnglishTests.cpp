#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ChosenLanguage.h>
#include <Login/LoginViewController.h>
#include <Main/TopBarView.h>
#include <Main/ViewController.h>
#include <Network/ImageLoader.h>
#include <Page/AIInterviewPages/SessionMenu.h>
#include <Page/AIInterviewPages/SoundCheckView.h>
#include <Page/AIInterviewPages/StatusChip.h>

#include <Page/View/ContactView.h>
#include <Page/View/InterviewTypeView.h>
#include <Page/View/LanguageSwitch.h>
#include <Page/View/PositionView.h>
#include <Page/View/ReadingList.h>
#include <Page/View/VersionForceAlertView.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Translation.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QScrollBar>

#include "WindowRig.h"
#include "support/FakeCapture.h"
#include "support/SimulatedAudioServer.h"

namespace parlowen::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

/// All that a widget and those in it show, or tell a screen reader.
QStringList textsOf(const QWidget& root) {
    QStringList texts;
    QList<const QWidget*> widgets = root.findChildren<const QWidget*>();
    widgets << &root;
    for (const QWidget* widget : std::as_const(widgets)) {
        texts << widget->toolTip() << widget->accessibleName() << widget->accessibleDescription();
        for (const char* property : {"text", "placeholderText", "placeholder", "windowTitle", "title"})
            texts << widget->property(property).toString();
        if (const auto* box = qobject_cast<const QComboBox*>(widget)) {
            for (int i = 0; i < box->count(); ++i)
                texts << box->itemText(i);
        }
        for (const QAction* action : widget->actions())
            texts << action->text();
    }
    return texts;
}

/// The texts with a Chinese character, but for the switch to Chinese, and what the user wrote.
std::string chineseIn(const QWidget& root) {
    static const QRegularExpression chinese(
        QStringLiteral("[\\x{3000}-\\x{303f}\\x{4e00}-\\x{9fff}\\x{ff00}-\\x{ffef}]"));
    static const QRegularExpression names(QStringLiteral("(改用)?中文|后端工程师"));
    return textsOf(root).replaceInStrings(names, QString()).filter(chinese).join(" | ").toStdString();
}

class EnglishTest : public WindowRig {
protected:
    EnglishTest() {
        AudioHardwareService::install(std::make_shared<SimulatedAudioServer>());
        speak(Language::English);
    }
    ~EnglishTest() override {
        window_.reset();
        ProgressHUD::shared().hide(false);
        speak(std::nullopt);
    }
    static void speak(std::optional<Language> language) {
        chooseLanguage(language);
        translateWindows();
        QCoreApplication::processEvents(); // windows hear of it later
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

TEST_F(EnglishTest, NoPageShowsAChineseText) {
    ViewController window(context());
    for (const PageEntry& entry : allPages()) {
        EXPECT_FALSE(QCoreApplication::translate("Pages", entry.title).contains(QRegularExpression("[^ -~]")));
        if (entry.index == loginPage)
            continue;
        window.showPage(entry.index);
        window.show();
        ASSERT_NE(window.page(), nullptr);
        EXPECT_THAT(textsOf(window).filter(QRegularExpression("[A-Za-z]{3}")), Not(IsEmpty()));
        EXPECT_EQ(chineseIn(window), "") << entry.name;
    }

    QMainWindow* const login =
        LoginViewController::openWindow({&http_, &settings_, &images_, {}, {}, [](QObject*, const auto&) {}});
    EXPECT_EQ(chineseIn(*login), "");
    ProgressHUD::shared().containerView = login;
    static_cast<LoginViewController*>(login->centralWidget())->controls().loginButton->click();
    EXPECT_TRUE(ProgressHUD::shared().status().startsWith("Phone number"));
    delete login;
}

/// Texts that are wider or longer than their widgets, and pages that scroll sideways.
QStringList cutIn(const QWidget& page) {
    QStringList cut;
    for (const QScrollArea* area : page.findChildren<const QScrollArea*>()) {
        if (area->horizontalScrollBar()->maximum() > 0)
            cut << "sideways";
    }
    for (const QLabel* label : page.findChildren<const QLabel*>()) {
        const bool elides = qobject_cast<const ElidedLabel*>(label) != nullptr;
        const int needed = label->wordWrap() ? label->heightForWidth(label->width()) - label->height()
                                             : label->sizeHint().width() - label->width();
        if (label->isVisible() && !label->text().isEmpty() && !elides && needed > 1)
            cut << label->text();
    }
    for (const QPushButton* button : page.findChildren<const QPushButton*>()) {
        const int needed = button->hasHeightForWidth() ? button->heightForWidth(button->width()) - button->height()
                                                       : button->sizeHint().width() - button->width();
        if (button->isVisible() && needed > 0)
            cut << button->text();
    }
    return cut;
}

TEST_F(EnglishTest, NoTextIsCutInASmallWindowInEitherLanguage) {
    settings_.setUserInfo(UserBaseModel{});
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

TEST_F(EnglishTest, NoCardShowsAChineseText) {
    QWidget ground;
    makeView<InterviewTypeView>(&ground)->type = 1;
    makeView<PositionView>(&ground);
    makeView<ContactView>(&ground, http_, images_);
    makeView<SoundCheckView>(&ground)->run(true);
    new CommonTipView(&ground);
    auto* newer = makeView<VersionForceAlertView>(&ground);
    newer->model = CheckVersionModel{};
    newer->configure();
    EXPECT_EQ(chineseIn(ground), "");
}

TEST_F(EnglishTest, ASessionShowsNoChineseTextAndChangesItsLanguageWhileItRuns) {
    for (const int manual : {0, 1}) {
        openActive(manual);
        window_->addStatusNote({"a note", "说明"});
        part<StatusChip>("statusChip").click();
        SessionMenu menu(window_.get(), &transcript());
        EXPECT_EQ(chineseIn(*window_), "");
        EXPECT_EQ(chineseIn(menu), "");
        speak(Language::Chinese);
        EXPECT_EQ(window_->windowTitle(), "AI面试");
        EXPECT_THAT(textsOf(*window_).filter("关闭"), Not(IsEmpty()));
        speak(Language::English);
        EXPECT_EQ(window_->windowTitle(), "AI interview");
        EXPECT_EQ(chineseIn(*window_), "");
        close();
    }
}

TEST_F(EnglishTest, TheSwitchTurnsWindowsToTheOtherLanguageAndStoresIt) {
    ViewController window(context());
    window.showPage(aboutPage);
    window.show();
    const auto press = [](QWidget& in) {
        in.findChild<LanguageSwitch*>()->click();
        QCoreApplication::processEvents();
    };
    press(*window.page());
    EXPECT_EQ(settings_.uiLanguage(), Language::Chinese);
    EXPECT_THAT(textsOf(*window.page()), ::testing::Contains(::testing::Truly(
                                             [](const QString& text) { return text.startsWith("当前版本："); })));
    press(*window.page());
    EXPECT_EQ(Settings::uiLanguageIn(directory_.filePath("settings.ini")), Language::English);
    EXPECT_EQ(chineseIn(window), "");

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
