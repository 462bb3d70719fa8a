#include "Sheet.h"

#include <Page/AIInterviewPages/LanguageListViewController.h>
#include <Page/AIInterviewPages/SettingsRig.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>

#include <QLineEdit>
#include <QListView>

namespace parlowen::screenshots {
namespace {

using parlowen::testing::waitFor;

class SettingsPictures : public SettingsRig {
protected:
    void take(const QString& state) {
        QCoreApplication::processEvents(); // what has changed is laid out
        Sheet::shared().section("Answer settings");
        Sheet::shared().add(state, *window_);
    }
    void takeCard(const QString& state) {
        QCoreApplication::processEvents();
        Sheet::shared().section("Upload card");
        Sheet::shared().add(state, card());
    }
    void setProfile(const QString& resume) {
        UserBaseModel user;
        user.resume = UserResumeInfo{"1", resume, ""};
        settings_.setUserInfo(user);
    }
};

TEST_F(SettingsPictures, Page) {
    open();
    take("nothing filled in yet");
    AIInterviewModel stored;
    stored.positioname = "高级后端工程师，应聘一家跨境电商公司的支付团队，熟悉 C++ 与分布式系统，带过五人小组";
    stored.deviceType = 1;
    stored.answerFontSize = 24;
    setProfile("张三-高级后端工程师-2024年最新版简历.pdf");
    open(stored);
    take("all filled in");
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(window_->focusWidget() != nullptr ? window_->focusWidget() : window_.get(), Qt::Key_Tab);
    take("with the keyboard on an option");
    open(stored, {1100, 640});
    take("in a wide window");
    open(stored, {360, 420});
    take("in a small window");
}

/// On a desktop with dark colours.
TEST_F(SettingsPictures, OnADarkDesktop) {
    const QPalette before = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(45, 45, 48), QColor(32, 32, 34)));
    open();
    take("on a dark desktop");
    page_->roleImgV()->click();
    const auto shown = [this] {
        const auto* pop = window_->findChild<PopView*>();
        return pop != nullptr && pop->contentAlpha() == 1;
    };
    ASSERT_TRUE(waitFor(shown));
    take("the position's editor");
    window_.reset();
    QApplication::setPalette(before);
}

TEST_F(SettingsPictures, ResumeCard) {
    open();
    takeCard("no résumé");
    card().setFocus();
    dragOver({file("cv.pdf")});
    takeCard("a file over it");
    leave();
    dragOver({file("cv.txt")});
    takeCard("a file of another type over it");
    leave();
    dragOver({file("cv.pdf"), file("cv2.pdf")});
    takeCard("two files over it");
    leave();
    setProfile("张三-高级后端工程师-2024年最新版简历.pdf");
    open();
    takeCard("a résumé");
    card().showProgress(UpdateResumeView::tr("正在准备上传…"), -1, true);
    takeCard("before the upload");
    card().setUpdateText(UpdateResumeView::tr("已选择文件：%1").arg("cv.pdf"));
    card().showProgress("12.3 MB / 20.0 MB", 0.615, true);
    takeCard("during the upload");
    card().showProgress(UpdateResumeView::tr("已发送，正在等待处理…"), -1, true);
    takeCard("waiting for the answer");
    card().hideProgress();
    card().setUpdateText(UpdateResumeView::tr("上传简历"));
    card().setNotice(UpdateResumeView::Notice::problem, UpdateResumeView::tr("%1 上传失败，点击重试").arg("cv.pdf"));
    takeCard("failed");
    card().setUpdateText(UpdateResumeView::tr("已选择文件：%1").arg("cv.pdf"));
    card().setNotice(UpdateResumeView::Notice::success, UpdateResumeView::tr("已上传，回答会参考这份简历"));
    takeCard("done");
}

TEST_F(SettingsPictures, LanguagePicker) {
    Sheet::shared().section("Language picker");
    QWidget anchor;
    anchor.resize(400, 400);
    anchor.show();
    Popover popover(&anchor);
    const auto openPicker = [&](const Reply& reply) {
        server_.enqueue(reply);
        auto* picker = new LanguageListViewController(http_);
        popover.setContentView(picker);
        popover.show(&anchor, Popover::Edge::right);
        return picker;
    };
    QByteArray languages;
    for (const auto& [key, name] :
         std::initializer_list<std::pair<const char*, const char*>>{{"ar-EG", "阿拉伯语（埃及）"},
                                                                    {"de-DE", "德语（德国）"},
                                                                    {"ru-RU", "俄语（俄罗斯）"},
                                                                    {"fr-FR", "法语（法国）"},
                                                                    {"ko-KR", "韩语（韩国）"},
                                                                    {"pt-BR", "葡萄牙语（巴西）"},
                                                                    {"ja-JP", "日语（日本）"},
                                                                    {"es-ES", "西班牙语（西班牙）"},
                                                                    {"it-IT", "意大利语（意大利）"},
                                                                    {"en-US", "英语（美国）"},
                                                                    {"en-GB", "英语（英国）"},
                                                                    {"zh-CN", "中文（简体）"},
                                                                    {"zh-TW", "中文（繁体，台湾地区的普通话）"}})
        languages +=
            QByteArray(languages.isEmpty() ? "" : ",") + R"({"original_key":")" + key + R"(","name":")" + name + "\"}";
    auto* picker = openPicker(Reply::json(200, "{\"code\":0,\"data\":[" + languages + "]}"));
    Sheet::shared().add("on its way", popover);
    ASSERT_TRUE(waitFor([&] { return !picker->countryModels().empty(); }));
    QTest::keyClick(picker->searchField(), Qt::Key_Down);
    Sheet::shared().add("the list, with a row marked", popover);
    picker->searchField()->setText("英");
    Sheet::shared().add("filtered", popover);
    picker->searchField()->setText("克林贡");
    Sheet::shared().add("nothing found", popover);
    openPicker(Reply::json(500, "-"));
    ASSERT_TRUE(waitFor([&] { return !server_.requests().empty() && log_.lines().join("").contains("请求错误"); }));
    Sheet::shared().add("failed", popover);
    popover.close();
}

} // namespace
} // namespace parlowen::screenshots
