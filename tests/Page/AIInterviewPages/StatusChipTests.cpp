#include "WindowRig.h"

#include <Page/AIInterviewPages/StatusChip.h>

#include <QAccessible>
#include <QLabel>
#include <QSignalSpy>

namespace parlowen {
namespace {

using testing::waitFor;

class StatusChipTest : public WindowRig {
protected:
    void SetUp() override {
        single();
        start();
        page().windowWillClose(); // what is so comes from here alone
        becomeActive();
        input_.state = InputStatus::State::Listening;
        input_.name = "Speakers";
    }
    StatusChip& chip() { return part<StatusChip>("statusChip"); }
    QWidget* details() { return window_->findChild<QWidget*>("statusDetails"); }
    template<class Change>
    void set(Change change) {
        change(input_);
        status_.setInput(input_);
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }

    InputStatus input_;
};

TEST_F(StatusChipTest, SaysWhatIsSoAsLongAsItIsToEveryReader) {
    set([](InputStatus& input) { input.heardSound = true; });
    status_.setRecognition({RecognitionStatus::State::Recognizing, {}, {}, 0});
    QAccessibleInterface* face = QAccessible::queryAccessibleInterface(&chip());
    EXPECT_EQ(face->text(QAccessible::Name).toStdString(), "电脑声音 · Speakers");
    set([](InputStatus& input) {
        input.muted = true;
        input.quietSeconds = 1;
    });
    EXPECT_EQ(face->text(QAccessible::Name).toStdString(), "“Speakers”已静音");
    EXPECT_THAT(face->text(QAccessible::Description).toStdString(), ::testing::HasSubstr("取消静音"));
    const QImage muted = chip().grab().toImage();
    set([](InputStatus& input) { input.state = InputStatus::State::Ended; });
    EXPECT_EQ(chip().text().toStdString(), "录音已播放完 · Speakers");
    EXPECT_NE(chip().grab().toImage(), muted);
    set([](InputStatus& input) { input.name = QString("Speakers ").repeated(40); });
    EXPECT_LT(chip().geometry().right(), window_->width() / 2 - 20) << "not into the title";
}

TEST_F(StatusChipTest, TheMeterMovesWithTheSoundAndRestsWhereNobodySeesIt) {
    EXPECT_FALSE(chip().isMetering()) << "nothing is heard yet";
    status_.meter()->note(1);
    set([](InputStatus&) {});
    EXPECT_TRUE(chip().isMetering());
    EXPECT_EQ(status_.meter()->take(), 0) << "what was loud before";
    status_.meter()->note(0.5F);
    ASSERT_TRUE(waitFor([this] { return chip().litBars() == StatusChip::bars; }));
    ASSERT_TRUE(waitFor([this] { return chip().litBars() == 0; }));
    window_->showMinimized();
    EXPECT_FALSE(chip().isMetering());
    window_->showNormal();
    EXPECT_TRUE(chip().isMetering());
    window_->hide();
    EXPECT_FALSE(chip().isMetering());
}

TEST_F(StatusChipTest, KeysOpenTheDetailsChooseTheOtherOutputAndComeBack) {
    set([](InputStatus& input) {
        input.elsewhereUID = "sink.2";
        input.elsewhereName = "Headset";
    });
    const QSignalSpy chosen(&status_, &SessionStatus::outputChosen);
    window_->addStatusNote("另一个面试窗口已打开");
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) {
        chip().setFocus(Qt::TabFocusReason);
        press(key);
        ASSERT_NE(details(), nullptr);
        ASSERT_TRUE(waitFor([this] { return details()->isActiveWindow(); }));
        press(Qt::Key_Escape);
        ASSERT_TRUE(waitFor([this] { return details() == nullptr; }));
        EXPECT_EQ(window_->focusWidget(), &chip());
        window_->activateWindow();
        ASSERT_TRUE(waitFor([this] { return chip().hasFocus(); }));
    }
    press(Qt::Key_Space);
    auto* sentences = details()->findChild<QLabel*>("statusSentences");
    EXPECT_THAT(sentences->text().toStdString(), ::testing::HasSubstr("另一个面试窗口已打开"));
    sentences->setSelection(0, 3);
    const QString marked = sentences->selectedText();
    set([](InputStatus& input) { input.elsewhereName = "Headset 2"; });
    EXPECT_EQ(sentences->selectedText(), marked) << "a text that is being marked stays";
    ASSERT_TRUE(waitFor([this] { return QApplication::focusWidget() != &chip(); }));
    for (int i = 0; i < 5 && QApplication::focusWidget()->objectName() != "statusAction"; ++i)
        press(Qt::Key_Tab);
    press(Qt::Key_Return);
    ASSERT_EQ(chosen.count(), 1);
    EXPECT_EQ(chosen[0][0].toString().toStdString(), "sink.2");
    EXPECT_TRUE(waitFor([this] { return details() == nullptr; }));
}

} // namespace
} // namespace parlowen
