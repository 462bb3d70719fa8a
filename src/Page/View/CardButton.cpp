#include "CardButton.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QKeyEvent>
#include <QPainter>

namespace parlowen {

namespace {

constexpr double cardRadius = 10;
constexpr double hoverTint = 0.12;

} // namespace

CardButton::CardButton(const QString& image, QWidget* parent)
    : QAbstractButton(parent) {
    setIcon(namedImage(image));
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::TabFocus); // a line round it says where keys go, which a click does not ask
    setFixedSize(QSize(300, 100) * fontScale());
}

void CardButton::setOutline(const QColor& color) {
    outline_ = color;
    update();
}

void CardButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    icon().paint(&painter, rect());
    if (underMouse() || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(hexColor(theme::accent, isDown() ? 2 * hoverTint : hoverTint));
        painter.drawRoundedRect(rect(), cardRadius, cardRadius);
    }
    const QColor line = outline_.isValid() ? outline_ : hasFocus() ? hexColor(theme::link) : QColor();
    if (!line.isValid())
        return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(line, 2));
    painter.drawRoundedRect(rect().adjusted(1, 1, -1, -1), cardRadius, cardRadius);
}

void CardButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QAbstractButton::keyPressEvent(event);
}

} // namespace parlowen
