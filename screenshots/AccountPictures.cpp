#include "Sheet.h"

#include "support/BackendFixture.h"

#include <Network/ImageLoader.h>
#include <Page/AboutMeViewController.h>
#include <Page/MineViewController.h>
#include <Page/View/ContactView.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/ProgressHUD.h>

#include <QCoreApplication>
#include <QLabel>
#include <QTest>

namespace parlowen::screenshots {
namespace {

using testing::waitFor;

/// The pages of the account and of the program, as large as the main window's content area.
class AccountPictures : public testing::BackendFixture {
protected:
    AccountPictures() { Sheet::shared().section("Account and about"); }

    void show(QWidget& page) {
        page.resize(820, 600);
        page.show();
        ProgressHUD::shared().containerView = &page;
        ASSERT_TRUE(QTest::qWaitForWindowActive(&page));
    }

    HttpDatas http_{settings_, {}, {}};
    QTemporaryDir cache_;
    ImageLoader images_{cache_.path()};
};

TEST_F(AccountPictures, Account) {
    server_.enqueue(Reply::json(200, R"({"code":0,"data":{"user":{"user_code":"1008612","phone":"13800000001"}}})"));
    MineViewController page(http_, settings_, images_);
    show(page);
    ASSERT_TRUE(waitFor([&] { return page.userModel().has_value(); }));
    QCoreApplication::processEvents(); // the layout
    Sheet::shared().add("account", page);
    page.recordButtons().back()->setFocus();
    QTest::keyClick(page.recordButtons().back(), Qt::Key_Return);
    auto* pop = page.findChild<PopView*>();
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() == 1; }));
    Sheet::shared().add("deletion, asked for by keys", page);
    QTest::keyClick(pop, Qt::Key_Escape);
    ASSERT_TRUE(waitFor([&] { return page.findChild<PopView*>() == nullptr; }));
    page.resize(430, 330);
    Sheet::shared().add("small", page);
}

TEST_F(AccountPictures, About) {
    AboutMeViewController page(http_, settings_);
    show(page);
    Sheet::shared().add("about", page);
    server_.enqueue(Reply::json(200, R"({"code":0,"data":{"version":"0.2.0","min_version":"0.1.0",)"
                                     R"("content":"1. 更快的字幕\n2. 更稳的回答\n3. 修复若干问题"}})"));
    page.checkForUpdates();
    ASSERT_TRUE(waitFor([&] { return page.tipView() != nullptr; }));
    QCoreApplication::processEvents();
    Sheet::shared().add("a newer version", page);
}

} // namespace
} // namespace parlowen::screenshots
