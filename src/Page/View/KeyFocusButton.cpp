#include "KeyFocusButton.h"

#include <QKeyEvent>

namespace parlowen {

KeyFocusButton::KeyFocusButton(QWidget* parent)
    : QAbstractButton(parent) {
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::StrongFocus);
}

void KeyFocusButton::focusInEvent(QFocusEvent* event) {
    if (event->reason() == Qt::MouseFocusReason)
        byKeys_ = false;
    else if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
        byKeys_ = true;
    QAbstractButton::focusInEvent(event); // a card or a window that gives it back changes nothing
}

void KeyFocusButton::keyPressEvent(QKeyEvent* event) {
    byKeys_ = true;
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QAbstractButton::keyPressEvent(event);
}

} // namespace parlowen

#include "moc_KeyFocusButton.cpp"
