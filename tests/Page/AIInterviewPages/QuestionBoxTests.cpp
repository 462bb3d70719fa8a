#include <Page/AIInterviewPages/QuestionBox.h>
#include <gmock/gmock.h>

#include <QScrollBar>
#include <QTest>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

class QuestionBoxTest : public ::testing::Test {
protected:
    QuestionBoxTest() {
        box_.resize(300, 120);
        box_.show();
        box_.activateWindow();
        EXPECT_TRUE(testing::waitFor([this] { return box_.hasFocus(); }));
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

TEST_F(QuestionBoxTest, ASentenceLeavesTheCaretAndTheSelectionAtTheEndAlone) {
    box_.addSentence("One.");
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
    const int top = box_.cursorRect().top();
    box_.addSentence("One.");
    EXPECT_EQ(box_.cursorRect().top(), top);
    for (const Qt::Key home : {Qt::Key_End, Qt::Key_Home}) {
        key(home, Qt::ControlModifier);
        EXPECT_EQ(box_.cursorRect().top(), top);
    }
    QTest::keyClicks(&box_, "A");
    EXPECT_EQ(text(), "\nAOne.");
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    EXPECT_EQ(text(), "One.");
    EXPECT_EQ(box_.cursorRect().top(), top) << "the line is shown again";
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_Delete);
    key(Qt::Key_Return);
    EXPECT_GT(box_.cursorRect().top(), top) << "a line feed of the user's is shown";
}

TEST_F(QuestionBoxTest, TheNewestSentenceIsFollowedUnlessTheUserScrollsBackOrTypes) {
    addMany(9);
    EXPECT_GT(box_.verticalScrollBar()->maximum(), 0);
    EXPECT_TRUE(isAtEnd());
    box_.verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMinimum);
    addMany(1);
    EXPECT_EQ(box_.verticalScrollBar()->value(), 0);
    box_.verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
    addMany(1);
    EXPECT_TRUE(isAtEnd());
    key(Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(&box_, "Why");
    const QRect caret = box_.cursorRect();
    addMany(3);
    EXPECT_EQ(box_.cursorRect(), caret) << "what is typed in stays in sight";
    box_.clear(); // as when it is asked
    addMany(9);
    EXPECT_TRUE(isAtEnd());
}

} // namespace
} // namespace parlowen
