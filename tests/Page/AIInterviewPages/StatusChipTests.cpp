#include "WindowRig.h"
#include <Page/AIInterviewPages/QuestionBox.h>
#include <Page/AIInterviewPages/StatusChip.h>

namespace parlowen::testing {
namespace {

struct StatusChipTest : WindowRig {
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
    /// What the chip shows of the input as it is now, to those who see it and those who hear it read.
    std::string shown() {
        status_.setInput(input_);
        EXPECT_EQ(face()->text(QAccessible::Name), chip().text());
        return chip().text().toStdString();
    }
    QAccessibleInterface* face() { return QAccessible::queryAccessibleInterface(&chip()); }

    InputStatus input_;
};

TEST_F(StatusChipTest, SaysWhatIsSoAsLongAsItIsToEveryReader) {
    status_.setRecognition({RecognitionStatus::State::Recognizing, {}, {}, 0});
    input_.heardSound = true;
    EXPECT_EQ(shown(), "电脑声音 · Speakers");
    input_.muted = true;
    input_.quietSeconds = 1;
    EXPECT_EQ(shown(), "“Speakers”已静音");
    EXPECT_THAT(face()->text(QAccessible::Description).toStdString(), HasSubstr("取消静音"));
    std::set<QRgb> marks;
    for (const auto state : {InputStatus::State::Listening, InputStatus::State::NoInput, InputStatus::State::Ended}) {
        input_.state = state;
        shown();
        marks.insert(chip().grab().toImage().pixel(14, chip().height() / 2 + 1));
    }
    EXPECT_EQ(marks.size(), 3U) << "of another colour each";
    EXPECT_EQ(shown(), "录音已播放完 · Speakers");
    input_.name = QString("Speakers ").repeated(40);
    shown();
    EXPECT_LT(chip().geometry().right(), window_->width() / 2 - 20) << "not into the title";
}

TEST_F(StatusChipTest, TheMeterMovesWithTheSoundAndRestsWhereNobodySeesIt) {
    EXPECT_FALSE(chip().isMetering()) << "nothing is heard yet";
    status_.meter()->note(1);
    status_.setInput(input_);
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
    input_.elsewhereUID = "sink.2";
    input_.elsewhereName = "Headset";
    status_.setInput(input_);
    const QSignalSpy chosen(&status_, &SessionStatus::outputChosen);
    window_->addStatusNote({"another", "另一个面试窗口已打开"});
    window_->move(0, window_->screen()->availableGeometry().bottom() - 60);
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
    EXPECT_THAT(sentences->text().toStdString(), HasSubstr("另一个面试窗口已打开"));
    const auto& advice = *details()->findChild<QLabel*>("statusAdvice");
    EXPECT_TRUE(advice.isVisible() && !advice.text().isEmpty());
    EXPECT_TRUE(window_->screen()->availableGeometry().contains(details()->geometry()));
    sentences->setSelection(0, 3);
    const QString marked = sentences->selectedText();
    input_.elsewhereName = "Headset 2";
    status_.setInput(input_);
    EXPECT_EQ(sentences->selectedText(), marked) << "a text that is being marked stays";
    ASSERT_TRUE(waitFor([this] { return QApplication::focusWidget() != &chip(); }));
    for (int i = 0; i < 5 && QApplication::focusWidget()->objectName() != "statusAction"; ++i)
        press(Qt::Key_Tab);
    press(Qt::Key_Return);
    ASSERT_EQ(chosen.count(), 1);
    EXPECT_EQ(chosen[0][0].toString().toStdString(), "sink.2");
    EXPECT_TRUE(waitFor([this] { return details() == nullptr; }));
}

struct QuestionBoxTest : ::testing::Test {
    QuestionBoxTest() {
        box_.resize(300, 120);
        box_.show();
        box_.activateWindow();
        EXPECT_TRUE(waitFor([this] { return box_.hasFocus(); }));
    }
    std::string text() const { return box_.toPlainText().toStdString(); }
    bool isAtEnd() const { return box_.verticalScrollBar()->value() == box_.verticalScrollBar()->maximum(); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&box_, key, modifiers); }
    void addMany(int count) {
        for (int i = 0; i < count; ++i)
            box_.addSentence(QString("Sentence number %1, which is longer than a line of the box.").arg(i));
    }

    QuestionBox box_{nullptr};
};

TEST_F(QuestionBoxTest, ASentenceLeavesTheCaretAndTheSelectionAtTheEndAloneAndIsNotUndone) {
    box_.addSentence("One.");
    QTest::keyClicks(&box_, "Why");
    for (int i = 0; i < 3; ++i)
        key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(text(), "\nOne.") << "what was typed is taken back";
    key(Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(&box_, " And w");
    box_.addSentence("Two.");
    QTest::keyClicks(&box_, "hy?");
    EXPECT_EQ(text(), "\nOne. And why?\nTwo.");
    for (const auto& [anchor, position] : {std::pair(15, 19), {19, 15}}) {
        QTextCursor caret = box_.textCursor();
        caret.setPosition(anchor);
        caret.setPosition(position, QTextCursor::KeepAnchor);
        box_.setTextCursor(caret);
        box_.addSentence("Three.");
        EXPECT_EQ(box_.textCursor().selectedText().toStdString(), "Two.");
        key(Qt::Key_Delete);
        EXPECT_EQ(text(), "\nOne. And why?\n\nThree.");
        box_.setPlainText("\nOne. And why?\nTwo.");
    }
}

TEST_F(QuestionBoxTest, TheFirstSentenceStandsInTheFirstLineWhereTypingBegins) {
    const auto top = [this] { return box_.cursorRect().top(); };
    const int first = top();
    box_.addSentence("One.");
    EXPECT_EQ(top(), first);
    for (const Qt::Key home : {Qt::Key_End, Qt::Key_Home}) {
        key(home, Qt::ControlModifier);
        EXPECT_EQ(top(), first);
    }
    QTest::keyClicks(&box_, "A");
    EXPECT_EQ(text(), "\nAOne.");
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    EXPECT_EQ(text(), "One.");
    EXPECT_EQ(top(), first) << "the line is shown again";
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_Delete);
    key(Qt::Key_Return);
    EXPECT_GT(top(), first) << "a line feed of the user's is shown";
}

TEST_F(QuestionBoxTest, TheNewestSentenceIsFollowedUnlessTheUserScrollsBackOrTypes) {
    addMany(9);
    EXPECT_GT(box_.verticalScrollBar()->maximum(), 0);
    EXPECT_TRUE(isAtEnd());
    for (const auto action : {QAbstractSlider::SliderToMinimum, QAbstractSlider::SliderToMaximum}) {
        box_.verticalScrollBar()->triggerAction(action);
        addMany(1);
        EXPECT_EQ(isAtEnd(), action == QAbstractSlider::SliderToMaximum);
    }
    key(Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(&box_, "Why");
    const QRect caret = box_.cursorRect();
    addMany(3);
    EXPECT_EQ(box_.cursorRect(), caret) << "what is typed in stays in sight";
    box_.clearFocus();
    addMany(1);
    EXPECT_TRUE(isAtEnd()) << "it is left";
    box_.clear(); // as when it is asked
    addMany(9);
    EXPECT_TRUE(isAtEnd());
}

} // namespace
} // namespace parlowen::testing
