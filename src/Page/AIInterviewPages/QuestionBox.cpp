#include "QuestionBox.h"

#include <Page/View/ListFrame.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QScrollBar>

namespace parlowen {

QuestionBox::QuestionBox(QWidget* parent)
    : QPlainTextEdit(parent) {
    setFont(systemFont(15));
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    document()->setDocumentMargin(7);
    setStyleSheet(QStringLiteral("QPlainTextEdit { color: white; background: %4; border: 1px solid %1;"
                                 " border-radius: %2px; selection-background-color: %3; selection-color: black; }")
                      .arg(hexColor(theme::darkGrey).name())
                      .arg(ListFrame::cornerRadius)
                      .arg(hexColor(theme::accent).name(), ListFrame::ground().name(QColor::HexArgb)));
}

void QuestionBox::addSentence(const QString& sentence) {
    const bool atEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    end.insertText(u'\n' + sentence);
    if (atEnd)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void QuestionBox::setRightReserve(int width) { setViewportMargins(0, 0, width, 0); }

} // namespace parlowen
