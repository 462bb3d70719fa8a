#include <Main/AppDelegate.h>
#include <Page/MineViewController.h>
#include <PulseAudio/PulseClient.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/Popover.h>
#include <gmock/gmock.h>

#include <QApplication>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

using testing::waitFor;

/// The program's sign-in in front of the real service, which it starts.
class LoginRunTest : public ::testing::Test {
protected:
    LoginRunTest() {
        QApplication::setQuitOnLastWindowClosed(false);
        CommandLine line;
        line.action = CommandLine::Action::Shell;
        run_ = std::make_unique<AppDelegate>(line, [this](int status) { status_ = status; });
        run_->applicationDidFinishLaunching();
    }
    static QWidget* content() {
        const QWidgetList windows = QApplication::topLevelWidgets();
        const auto found = std::find_if(windows.begin(), windows.end(), [](QWidget* window) {
            return window->isVisible() && qobject_cast<QMainWindow*>(window) != nullptr;
        });
        return found == windows.end() ? nullptr : static_cast<QMainWindow*>(*found)->centralWidget();
    }
    /// What the sign-in window shows, once it is of that kind; it then gets the keyboard.
    template<class Page>
    static Page* waitForPage() {
        const bool came = waitFor([] { return qobject_cast<Page*>(content()) != nullptr; }, 40'000);
        if (came) {
            content()->window()->activateWindow();
            EXPECT_TRUE(QTest::qWaitForWindowActive(content()->window()));
        }
        EXPECT_TRUE(came);
        return came ? static_cast<Page*>(content()) : nullptr;
    }
    static QString stored(const SettingsKey<QString>& key) {
        return UserDefaults().string(key.name).value_or(QString());
    }

    const std::shared_ptr<PulseClient> client_ = PulseClient::shared(); // which the program holds, too
    std::unique_ptr<AppDelegate> run_;
    std::optional<int> status_;
};

TEST_F(LoginRunTest, ANumberSignsInItsAccountIsDeletedAndTheLocalServiceIsEnteredWithoutOne) {
    auto* login = waitForPage<LoginViewController>();
    ASSERT_NE(login, nullptr);
    login->controls().areaLabel->click();
    auto* countries = static_cast<CountryListViewController*>(login->popover()->contentView());
    ASSERT_TRUE(waitFor([&] { return countries->countryModels().size() > 200; }));
    countries->searchField()->setText("法国");
    QTest::keyClick(countries->searchField(), Qt::Key_Return);
    EXPECT_EQ(login->countryModel().country_code, "33");
    QTest::keyClicks(login->controls().phoneLabel, "612345678");
    QTest::keyClicks(login->controls().secureField, "secret-1");
    QTest::keyClick(login->controls().secureField, Qt::Key_Return);
    auto* main = waitForPage<ViewController>();
    ASSERT_NE(main, nullptr);
    const QString first = stored(SettingsKeys::loginToken);
    EXPECT_FALSE(first.isEmpty());

    main->showPage(accountPage);
    auto* account = static_cast<MineViewController*>(main->page());
    ASSERT_TRUE(waitFor([&] { return account->userModel() && account->userModel()->phone.contains("612345678"); }));
    QTest::mouseClick(account->recordButtons().back(), Qt::LeftButton);
    QTest::mouseClick(account->logoffTipView()->sureButton(), Qt::LeftButton);
    login = waitForPage<LoginViewController>();
    ASSERT_NE(login, nullptr);
    EXPECT_EQ(stored(SettingsKeys::loginToken), "");

    QTest::mouseClick(login->controls().localButton, Qt::LeftButton);
    main = waitForPage<ViewController>();
    ASSERT_NE(main, nullptr);
    EXPECT_FALSE(stored(SettingsKeys::loginToken).isEmpty() || stored(SettingsKeys::loginToken) == first);
    EXPECT_EQ(status_, std::nullopt);
    run_->quit();
    EXPECT_TRUE(waitFor([this] { return status_ == 0; }));
}

} // namespace
} // namespace parlowen
