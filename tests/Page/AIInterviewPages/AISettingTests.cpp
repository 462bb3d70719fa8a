#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/SystemFont.h>

#include <QPlainTextEdit>
#include <QPushButton>

#include "SettingsRig.h"

namespace parlowen {
namespace {

using testing::waitFor;

class AISettingTest : public SettingsRig {
protected:
    static void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }
    void press(Qt::Key key) const { QTest::keyClick(window_->focusWidget(), key); }
    static QStringList selected(const std::vector<CustomButtonView*>& buttons) {
        QStringList titles;
        for (const CustomButtonView* button : buttons) {
            if (button->isSelected())
                titles << button->title();
        }
        return titles;
    }
    AIInterviewModel stored() const { return settings_.aiInterviewSetModel().value_or(AIInterviewModel{"none"}); }
    QPlainTextEdit& text() const { return *page_->positionView()->roleTextView(); }
    bool editorIsGone() const {
        return waitFor([this] { return page_->positionView()->parentWidget() == page_; });
    }
};

TEST_F(AISettingTest, OptionsShowWhatIsStoredAndStoreEachChangeAlone) {
    const AIInterviewModel before{"后端", 3, 1, 1, 1, 20};
    open(before);
    EXPECT_EQ(selected(page_->deviceButtons()) + selected(page_->fontButtons()), (QStringList{"系统声音", "20"}));
    const QImage chosen = page_->deviceButtons()[1]->grab().toImage();
    EXPECT_EQ(chosen.pixelColor(8, 21), QColor(214, 242, 236));
    EXPECT_EQ(page_->deviceButtons()[0]->grab().toImage().pixelColor(0, 21), QColor(Qt::gray));
    AIInterviewModel after = before;
    for (int i = 0; i < 2; ++i) { // the second time it is stored again
        click(page_->deviceButtons()[0]);
        after.deviceType = 0;
        EXPECT_EQ(stored(), after);
    }
    click(page_->fontButtons()[5]);
    after.answerFontSize = 24;
    EXPECT_EQ(stored(), after);
    EXPECT_EQ(page_->fontShowLab()->textField()->font(), systemFont(24));
    EXPECT_EQ(selected(page_->deviceButtons()) + selected(page_->fontButtons()), (QStringList{"麦克风声音", "24"}));
    EXPECT_EQ(log_.lines(), (QStringList{"选中了设备: 麦克风声音", "选中了设备: 麦克风声音", "选中了字体: 24"}));

    open(AIInterviewModel{"", 0, 0, 0, 0, 30});
    EXPECT_EQ(selected(page_->fontButtons()), QStringList());
    open(std::nullopt);
    EXPECT_EQ(selected(page_->deviceButtons()) + selected(page_->fontButtons()), QStringList{"14"});
    click(page_->deviceButtons()[1]);
    EXPECT_EQ(settings_.aiInterviewSetModel(), std::nullopt);
}

TEST_F(AISettingTest, KeysAloneReachAndChangeEverything) {
    open();
    ASSERT_TRUE(waitFor([this] { return window_->focusWidget() == nullptr; })) << "no part has it at first";
    QTest::keyClick(window_.get(), Qt::Key_Tab);
    EXPECT_TRUE(page_->roleImgV()->hasFocus());
    press(Qt::Key_Return);
    ASSERT_TRUE(text().hasFocus()) << "the editor takes the keyboard";
    QTest::keyClicks(&text(), "Engineer");
    QTest::keyClick(&text(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(stored().positioname, "Engineer");
    ASSERT_TRUE(editorIsGone());
    EXPECT_TRUE(page_->roleImgV()->hasFocus());
    press(Qt::Key_Tab);
    EXPECT_TRUE(card().isAncestorOf(window_->focusWidget()));
    press(Qt::Key_Tab);
    press(Qt::Key_Right);
    EXPECT_EQ(stored().deviceType, 1);
    press(Qt::Key_Tab);
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    EXPECT_EQ(stored().answerFontSize, 18);
}

TEST_F(AISettingTest, ThePositionsEditorStoresOnConfirmationAlone) {
    open();
    const auto shownText = [this] {
        const auto labels = page_->findChildren<QLabel*>();
        QStringList texts;
        for (const QLabel* label : labels)
            texts << (label->isVisible() ? label->text() : QString());
        return texts.join(' ');
    };
    EXPECT_TRUE(shownText().contains("还没有填写岗位，也没有上传简历")) << shownText().toStdString();
    click(page_->roleImgV());
    EXPECT_EQ(log_.lines(), QStringList{"Image was clicked!"});
    const QLabel& placeholder = *page_->positionView()->placeholderLabel();
    EXPECT_TRUE(placeholder.isVisible());
    QTest::keyClicks(&text(), "a");
    EXPECT_FALSE(placeholder.isVisible());
    QTest::mouseClick(page_->positionView(), Qt::LeftButton, {}, {5, 5});
    EXPECT_FALSE(text().hasFocus());
    click(page_->positionView()->cancelButton());
    ASSERT_TRUE(editorIsGone());
    EXPECT_EQ(stored().positioname, "");

    click(page_->roleImgV());
    EXPECT_EQ(text().toPlainText(), "") << "what was cancelled is gone";
    text().setPlainText("数据工程师");
    click(page_->positionView()->sureButton());
    EXPECT_EQ(stored(), (AIInterviewModel{"数据工程师"}));
    EXPECT_TRUE(shownText().contains("数据工程师"));
    EXPECT_TRUE(shownText().contains("还没有上传简历"));
    ASSERT_TRUE(editorIsGone());
    click(page_->roleImgV());
    EXPECT_EQ(text().toPlainText(), "数据工程师");
}

} // namespace
} // namespace parlowen
