#include "Sheet.h"

#include "Tools/PopView/Pixels.h"

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
        page_.resize(310, 210);
        paintGround(page_, hexColor(theme::pageGround));
        QLabel* text = makeLabel(hexColor(theme::darkText), false, 14, &page_);
        text->setText("面试设置\n职位：后端工程师\n语言：英语（美国）\n字号：16");
        text->setGeometry(20, 16, 320, 120);
        page_.show();
        hud_.containerView = &page_;
        hud_.position = ProgressHUDPosition::center;
    }

    bool lit(int fin) const { return hud_.progressIndicator()->fposition() == fin; }

    /// Waits until the overlay is there and a spinner has gone round far enough to look the same in each run.
    void take(const QString& caption, const QString& text, const ProgressHUDMode& mode) {
        hud_.show(text, mode);
        ASSERT_TRUE(waitFor([this] { return hud_.alpha() == 1; }));
        if (mode.isSpinner()) {
            ASSERT_TRUE(waitFor([this] { return lit(11); }));
            ASSERT_TRUE(waitFor([this] { return lit(7); }));
        }
        Sheet::shared().add(caption, page_);
        hud_.hide(false);
    }

    QWidget page_;
    ProgressHUD hud_;
};

TEST_F(OverlayPictures, ModesAndStyles) {
    const auto own = ProgressHUDStyle::custom(hexColor(theme::darkText), hexColor(theme::secondary));
    hud_.setProgress(0.5);
    for (const auto& [title, style] :
         {std::pair("Overlay, dark style", ProgressHUDStyle::dark()),
          std::pair("Overlay, light style", ProgressHUDStyle::light()), std::pair("Overlay, own style", own)}) {
        Sheet::shared().section(title);
        hud_.style = style;
        take("text", "请输入文本", ProgressHUDMode::text);
        take("error, in two lines", "网络连接失败，请检查网络设置后再试一次", ProgressHUDMode::error);
        take("indeterminate", "加载中", ProgressHUDMode::indeterminate);
        take("determinate, half done", QString(), ProgressHUDMode::determinate);
        take("success", "保存成功", ProgressHUDMode::success);
        take("info", "提示", ProgressHUDMode::info);
        auto* view = new QLabel("★ ★ ★");
        view->setStyleSheet("color: #19cfae; font-size: 26px;");
        take("custom view", "感谢反馈", ProgressHUDMode::custom(view));
        take("text with a long word", "https://service.example.com/api/v1/microsoft/get_token 没有回应",
             ProgressHUDMode::text);
    }
}

TEST_F(OverlayPictures, MasksAndPositions) {
    Sheet::shared().section("Overlay, masks and positions");
    const QString text = "请输入文本";
    for (const auto& [caption, mask] :
         {std::pair("no mask", ProgressHUDMaskType::none()), std::pair("clear mask", ProgressHUDMaskType::clear()),
          std::pair("black mask", ProgressHUDMaskType::black()),
          std::pair("own mask", ProgressHUDMaskType::custom(hexColor(theme::accent, 0.35)))}) {
        hud_.maskType = mask;
        take(caption, text, ProgressHUDMode::text);
    }
    hud_.maskType = ProgressHUDMaskType::none();
    hud_.position = ProgressHUDPosition::top;
    take("top", text, ProgressHUDMode::text);
    hud_.position = ProgressHUDPosition::bottom;
    take("bottom", text, ProgressHUDMode::text);
}

} // namespace
} // namespace parlowen::screenshots
