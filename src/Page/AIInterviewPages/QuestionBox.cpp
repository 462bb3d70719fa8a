#include "QuestionBox.h"

#include "DarkMenu.h"

#include <Page/View/ListFrame.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>
#include <QWheelEvent>
#include <algorithm>
#include <array>
#include <memory>

namespace parlowen {

namespace {

// Of a line's ends from the text's room, and of that room from its place within the box's round frame.
constexpr int linePadding = 4;
constexpr int textInset = 2;
constexpr int fromFrame = 6;

struct ActionText {
    const char* name;
    const char* text; ///< to be translated
};

constexpr std::array actionTexts{ActionText{"edit-undo", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "撤销")},
                                 ActionText{"edit-redo", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "重做")},
                                 ActionText{"edit-cut", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "剪切")},
                                 ActionText{"edit-copy", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "复制")},
                                 ActionText{"edit-paste", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "粘贴")},
                                 ActionText{"edit-delete", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "删除")},
                                 ActionText{"select-all", QT_TRANSLATE_NOOP("parlowen::QuestionBox", "全选")}};

/// The system's own texts are in the system's language, and for a light ground.
void translate(QMenu& menu) {
    for (const ActionText& known : actionTexts) {
        auto* action = menu.findChild<QAction*>(QLatin1String(known.name));
        if (action == nullptr)
            continue;
        const QString keys = action->text().section(u'\t', 1);
        action->setText(QuestionBox::tr(known.text) + (keys.isEmpty() ? QString() : u'\t' + keys));
        action->setIcon({});
    }
}

} // namespace

QuestionBox::QuestionBox(QWidget* parent)
    : QPlainTextEdit(parent)
    , frame_(makeView<ListFrame>(this)) {
    setFont(systemFont(15));
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    document()->setDocumentMargin(textInset);
    setRightReserve(0);
    setStyleSheet(styleSheets::darkTextBox());
    connect(this, &QPlainTextEdit::textChanged, this, &QuestionBox::showOrHideFirstLine);
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, &QuestionBox::keepCaretInSight);
    connect(verticalScrollBar(), &QScrollBar::actionTriggered, this, &QuestionBox::noteScroll);
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, &QuestionBox::follow);
}

void QuestionBox::addSentence(const QString& sentence) {
    const QTextCursor user = textCursor();
    const int anchor = user.anchor();
    const int position = user.position();
    const int scrolled = verticalScrollBar()->value();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    beginsWithSentence_ |= end.position() == 0;
    // Undoing must never take a sentence away, and the history cannot leave one out.
    document()->setUndoRedoEnabled(false);
    end.insertText(u'\n' + sentence);
    document()->setUndoRedoEnabled(true);
    // What stands at the end is moved along by what comes there.
    QTextCursor kept(document());
    kept.setPosition(anchor);
    kept.setPosition(position, QTextCursor::KeepAnchor);
    setTextCursor(kept);
    verticalScrollBar()->setValue(scrolled);
    follow();
}

bool QuestionBox::hidesFirstLine() const { return !document()->firstBlock().isVisible(); }

void QuestionBox::showOrHideFirstLine() {
    if (document()->isEmpty()) { // asked, or emptied by hand
        followsEnd_ = true;
        isWorkedIn_ = false;
    }
    QTextBlock first = document()->firstBlock();
    const bool isEmptyLine = first.length() == 1 && document()->blockCount() > 1;
    beginsWithSentence_ = beginsWithSentence_ && isEmptyLine;
    if (first.isVisible() != beginsWithSentence_)
        return;
    first.setVisible(!beginsWithSentence_);
    first.setLineCount(beginsWithSentence_ ? 0 : std::max(1, first.layout()->lineCount()));
    document()->markContentsDirty(first.position(), first.length());
    keepCaretInSight();
    viewport()->update();
}

/// The caret does not stand in a line that is not shown.
void QuestionBox::keepCaretInSight() {
    QTextCursor caret = textCursor();
    if (!hidesFirstLine() || caret.position() > 0)
        return;
    caret.setPosition(1, caret.hasSelection() ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor);
    setTextCursor(caret);
}

void QuestionBox::noteScroll() {
    const QScrollBar& bar = *verticalScrollBar();
    followsEnd_ = bar.sliderPosition() >= bar.maximum();
    if (followsEnd_)
        isWorkedIn_ = false;
}

void QuestionBox::follow() {
    if (followsEnd_ && !isWorkedIn_)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void QuestionBox::setRightReserve(int width) {
    setViewportMargins(fromFrame + linePadding, fromFrame, std::max(fromFrame, width) + linePadding, fromFrame);
}

void QuestionBox::contextMenuEvent(QContextMenuEvent* event) {
    const std::unique_ptr<QMenu> menu(createStandardContextMenu(event->pos()));
    translate(*menu);
    makeDark(*menu);
    menu->exec(event->reason() == QContextMenuEvent::Keyboard ? viewport()->mapToGlobal(cursorRect().bottomLeft())
                                                              : event->globalPos());
}

void QuestionBox::keyPressEvent(QKeyEvent* event) {
    isWorkedIn_ = true;
    QPlainTextEdit::keyPressEvent(event);
}

void QuestionBox::inputMethodEvent(QInputMethodEvent* event) {
    isWorkedIn_ = true;
    QPlainTextEdit::inputMethodEvent(event);
}

void QuestionBox::mousePressEvent(QMouseEvent* event) {
    isWorkedIn_ = true;
    QPlainTextEdit::mousePressEvent(event);
}

void QuestionBox::focusInEvent(QFocusEvent* event) {
    QPlainTextEdit::focusInEvent(event);
    frame_->setHighlighted(true);
}

void QuestionBox::focusOutEvent(QFocusEvent* event) {
    QPlainTextEdit::focusOutEvent(event);
    frame_->setHighlighted(hasFocus()); // a menu only borrows it
    isWorkedIn_ = isWorkedIn_ && hasFocus();
}

void QuestionBox::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    frame_->setGeometry(rect());
    frame_->raise();
}

// While it cannot be edited, the base class changes its font.
void QuestionBox::wheelEvent(QWheelEvent* event) {
    if (event->modifiers().testFlag(Qt::ControlModifier))
        event->ignore();
    else
        QPlainTextEdit::wheelEvent(event);
}

} // namespace parlowen

#include "moc_QuestionBox.cpp"
