#include "QuestionBox.h"

#include "DarkMenu.h"

#include <Page/View/ListFrame.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <QWheelEvent>
#include <array>
#include <memory>

namespace parlowen {

namespace {

// Of a line's ends from the text's room, of that room from the box, and of the border, which lies inside the box.
constexpr int linePadding = 4;
constexpr int textInset = 2;
constexpr int border = 1;

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
    : QPlainTextEdit(parent) {
    setFont(systemFont(15));
    setAccessibleName(QStringLiteral("问题"));
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    document()->setDocumentMargin(textInset - border);
    setRightReserve(0);
    setStyleSheet(QStringLiteral("QPlainTextEdit { color: white; background: transparent; border: %4px solid %1;"
                                 " border-radius: %2px; selection-background-color: %3; selection-color: black; }"
                                 "QPlainTextEdit:focus { border-color: %3; }")
                      .arg(hexColor(theme::darkGrey).name())
                      .arg(ListFrame::cornerRadius)
                      .arg(hexColor(theme::accent).name())
                      .arg(border));
}

void QuestionBox::addSentence(const QString& sentence) {
    const bool atEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    end.insertText(u'\n' + sentence);
    if (atEnd)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void QuestionBox::setRightReserve(int width) { setViewportMargins(linePadding, 0, linePadding + width, 0); }

void QuestionBox::contextMenuEvent(QContextMenuEvent* event) {
    const std::unique_ptr<QMenu> menu(createStandardContextMenu(event->pos()));
    translate(*menu);
    makeDark(*menu);
    menu->exec(event->globalPos());
}

// While it cannot be edited, the base class changes its font.
void QuestionBox::wheelEvent(QWheelEvent* event) {
    if (event->modifiers().testFlag(Qt::ControlModifier))
        event->ignore();
    else
        QPlainTextEdit::wheelEvent(event);
}

} // namespace parlowen
