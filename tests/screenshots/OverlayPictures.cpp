#include "Sheet.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/ProgressHUD.h>
#include <gmock/gmock.h>

#include <QLabel>
#include <support/WaitFor.h>

namespace parlowen::screenshots {
namespace {

using testing::waitFor;

class OverlayPictures : public ::testing::Test {
protected:
    OverlayPictures() {
        page_.resize(360, 260);
        page_.setAutoFillBackground(true);
        QPalette colors = page_.palette();
        colors.setColor(QPalette::Window, QColor(240, 251, 249));
        page_.setPalette(colors);
        QLabel* text = makeLabel(hexColor(theme::darkText), false, 14, &page_);
        text->setText(QStringLiteral("面试设置\n职位：后端工程师\n语言：英语（美国）\n字号：16"));
        text->setGeometry(20, 16, 320, 120);
        page_.show();
        hud_.containerView = &page_;
        hud_.position = ProgressHUDPosition::center;
    }

    /// Waits until the overlay is there and a spinner has gone half round.
    void take(const QString& caption, const QString& text, const ProgressHUDMode& mode) {
        hud_.show(text, mode);
        ASSERT_TRUE(waitFor([this, &mode] {
            return hud_.alpha() == 1 && (!mode.isSpinner() || hud_.progressIndicator()->fposition() == 7);
        }));
        Sheet::shared().add(caption, page_);
        hud_.hide(false);
    }

    QWidget page_;
    ProgressHUD hud_;
};

TEST_F(OverlayPictures, Modes) {
    Sheet::shared().section(QStringLiteral("Overlay: modes in the dark, the light and an own style"));
    const auto own = ProgressHUDStyle::custom(hexColor(theme::darkText), hexColor(theme::secondary));
    for (const auto& style : {ProgressHUDStyle::dark(), ProgressHUDStyle::light(), own}) {
        hud_.style = style;
        take(QStringLiteral("text"), QStringLiteral("请输入文本"), ProgressHUDMode::text);
        take(QStringLiteral("indeterminate"), QStringLiteral("加载中"), ProgressHUDMode::indeterminate);
        take(QStringLiteral("determinate"), QString(), ProgressHUDMode::determinate);
        take(QStringLiteral("success"), QStringLiteral("保存成功"), ProgressHUDMode::success);
        take(QStringLiteral("error"), QStringLiteral("网络连接失败，请检查网络设置后再试一次"), ProgressHUDMode::error);
        take(QStringLiteral("info"), QStringLiteral("提示"), ProgressHUDMode::info);
        auto* view = new QLabel(QStringLiteral("★ ★ ★"));
        view->setStyleSheet(QStringLiteral("color: #19cfae; font-size: 26px;"));
        take(QStringLiteral("custom view"), QStringLiteral("感谢反馈"), ProgressHUDMode::custom(view));
    }
}

TEST_F(OverlayPictures, MasksAndPositions) {
    Sheet::shared().section(QStringLiteral("Overlay: masks and positions"));
    const QString text = QStringLiteral("请输入文本");
    hud_.maskType = ProgressHUDMaskType::black();
    take(QStringLiteral("black mask"), text, ProgressHUDMode::text);
    hud_.maskType = ProgressHUDMaskType::custom(hexColor(theme::accent, 0.35));
    take(QStringLiteral("own mask"), text, ProgressHUDMode::text);
    hud_.maskType = ProgressHUDMaskType::clear();
    take(QStringLiteral("clear mask"), text, ProgressHUDMode::text);
    hud_.maskType = ProgressHUDMaskType::none();
    hud_.position = ProgressHUDPosition::top;
    take(QStringLiteral("top"), text, ProgressHUDMode::text);
    hud_.position = ProgressHUDPosition::bottom;
    take(QStringLiteral("bottom"), text, ProgressHUDMode::text);
}

} // namespace
} // namespace parlowen::screenshots
