#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/SystemFont.h>

#include "SettingsRig.h"

namespace parlowen::testing {
namespace {

class AISettingTest : public SettingsRig {
protected:
    static void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }
    QString selected() const {
        QStringList titles;
        for (const auto* buttons : {&page_->deviceButtons(), &page_->fontButtons()}) {
            for (const CustomButtonView* button : *buttons)
                titles += button->isSelected() ? QStringList(button->title()) : QStringList();
        }
        return titles.join(' ');
    }
    bool says(const QString& words) const {
        return std::ranges::any_of(page_->findChildren<QLabel*>(), [&words](const QLabel* label) {
            return label->isVisible() && label->text().contains(words);
        });
    }
    AIInterviewModel stored() const { return settings_.aiInterviewSetModel().value_or(AIInterviewModel{"none"}); }
    QPlainTextEdit& text() const { return *page_->positionView()->roleTextView(); }
    bool editorGoes() const {
        return waitFor([this] { return page_->positionView()->parentWidget() == page_; });
    }
};

TEST_F(AISettingTest, OptionsShowWhatIsStoredAndStoreEachChangeAlone) {
    const AIInterviewModel before{"后端", 3, 1, 1, 1, 20};
    open(before);
    EXPECT_EQ(selected(), "系统声音 20");
    EXPECT_EQ(page_->deviceButtons()[1]->grab().toImage().pixelColor(8, 21), QColor(214, 242, 236));
    EXPECT_EQ(page_->deviceButtons()[0]->grab().toImage().pixelColor(0, 21), QColor(Qt::gray));
    AIInterviewModel after = before;
    after.deviceType = 0;
    for (int i = 0; i < 2; ++i) { // the second time it is stored again
        settings_.setAiInterviewSetModel(before);
        click(page_->deviceButtons()[0]);
        EXPECT_EQ(stored(), after);
    }
    click(page_->fontButtons()[5]);
    after.answerFontSize = 24;
    EXPECT_EQ(stored(), after);
    EXPECT_EQ(page_->fontShowLab()->textField()->font(), systemFont(24));
    EXPECT_EQ(selected(), "麦克风声音 24");
    EXPECT_EQ(log_.lines(), (QStringList{"选中了设备: 麦克风声音", "选中了设备: 麦克风声音", "选中了字体: 24"}));

    open(AIInterviewModel{"", 0, 0, 0, 0, 30});
    EXPECT_EQ(selected(), "麦克风声音");
    open(std::nullopt);
    EXPECT_EQ(selected(), "14");
    EXPECT_TRUE(says("这里的选择不会保存"));
    click(page_->deviceButtons()[1]);
    EXPECT_EQ(settings_.aiInterviewSetModel(), std::nullopt);
}

TEST_F(AISettingTest, KeysAloneReachAndChangeEverything) {
    open();
    ASSERT_TRUE(waitFor([this] { return window_->focusWidget() == nullptr; })) << "no part has it at first";
    const auto press = [this](Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window_->focusWidget() != nullptr ? window_->focusWidget() : window_.get(), key, modifiers);
    };
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    ASSERT_TRUE(text().hasFocus()) << "the editor takes the keyboard";
    QTest::keyClicks(&text(), "Engineer");
    press(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(stored().positioname, "Engineer");
    ASSERT_TRUE(editorGoes());
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
    EXPECT_TRUE(says("还没有填写岗位，也没有上传简历"));
    click(page_->roleImgV());
    EXPECT_EQ(log_.lines(), QStringList{"Image was clicked!"});
    EXPECT_TRUE(page_->positionView()->placeholderLabel()->isVisible());
    QTest::keyClicks(&text(), "a");
    EXPECT_FALSE(page_->positionView()->placeholderLabel()->isVisible());
    QTest::mouseClick(page_->positionView(), Qt::LeftButton, {}, {5, 5});
    EXPECT_FALSE(text().hasFocus());
    click(page_->positionView()->cancelButton());
    ASSERT_TRUE(editorGoes());
    EXPECT_EQ(stored(), AIInterviewModel());

    click(page_->roleImgV());
    EXPECT_EQ(text().toPlainText(), "") << "what was cancelled is gone";
    text().setPlainText("数据工程师");
    click(page_->positionView()->sureButton());
    EXPECT_EQ(stored(), (AIInterviewModel{"数据工程师"}));
    EXPECT_TRUE(says("数据工程师") && says("还没有上传简历"));
}

} // namespace
} // namespace parlowen::testing
