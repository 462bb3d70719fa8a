#include "QuestionBox.h"

#include "DarkMenu.h"

#include <Page/View/ListFrame.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <QWheelEvent>
#include <array>
#include <memory>

namespace parlowen {

namespace {

// Of a line's ends from the text's room, and of that room from the box.
constexpr int linePadding = 4;
constexpr int textInset = 2;

struct ActionText {
    const char* name;
    QStringView text;
};

constexpr std::array actionTexts{ActionText{"edit-undo", u"撤销"},  ActionText{"edit-redo", u"重做"},
                                 ActionText{"edit-cut", u"剪切"},   ActionText{"edit-copy", u"复制"},
                                 ActionText{"edit-paste", u"粘贴"}, ActionText{"edit-delete", u"删除"},
                                 ActionText{"select-all", u"全选"}};

/// The system's own texts are in the system's language, and for a light ground.
void translate(QMenu& menu) {
    for (const ActionText& known : actionTexts) {
        auto* action = menu.findChild<QAction*>(QLatin1String(known.name));
        if (action == nullptr)
            continue;
        const QString keys = action->text().section(u'\t', 1);
        action->setText(known.text.toString() + (keys.isEmpty() ? QString() : u'\t' + keys));
        action->setIcon({});
    }
}

} // namespace

QuestionBox::QuestionBox(QWidget* parent)
    : QPlainTextEdit(parent)
    , frame_(makeView<ListFrame>(this)) {
    setFont(systemFont(15));
    setAccessibleName(QStringLiteral("问题"));
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    document()->setDocumentMargin(textInset);
    setRightReserve(0);
    setStyleSheet(styleSheets::darkTextBox());
}

void QuestionBox::addSentence(const QString& sentence) {
    const bool atEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    // Undoing must never take a sentence away, and the history cannot leave one out.
    document()->setUndoRedoEnabled(false);
    end.insertText(u'\n' + sentence);
    document()->setUndoRedoEnabled(true);
    if (atEnd)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void QuestionBox::setRightReserve(int width) { setViewportMargins(linePadding, 0, linePadding + width, 0); }

void QuestionBox::contextMenuEvent(QContextMenuEvent* event) {
    const std::unique_ptr<QMenu> menu(createStandardContextMenu(event->pos()));
    translate(*menu);
    makeDark(*menu);
    menu->exec(event->reason() == QContextMenuEvent::Keyboard ? viewport()->mapToGlobal(cursorRect().bottomLeft())
                                                              : event->globalPos());
}

void QuestionBox::focusInEvent(QFocusEvent* event) {
    QPlainTextEdit::focusInEvent(event);
    frame_->setHighlighted(true);
}

void QuestionBox::focusOutEvent(QFocusEvent* event) {
    QPlainTextEdit::focusOutEvent(event);
    frame_->setHighlighted(hasFocus()); // a menu only borrows it
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
