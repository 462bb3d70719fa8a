#include "CardButton.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QPainter>

namespace parlowen {

namespace {

constexpr double cardRadius = 10;
constexpr double hoverTint = 0.12;

} // namespace

CardButton::CardButton(const QString& image, QWidget* parent)
    : KeyFocusButton(parent) {
    setIcon(namedImage(image));
    setFixedHeight(sizeHint().height());
    setMaximumWidth(sizeHint().width());
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    resize(sizeHint());
}

QSize CardButton::sizeHint() const { return QSize(300, 100) * fontScale(); }

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
    const QColor line = outline_.isValid() ? outline_ : showsFocus() ? hexColor(theme::link) : QColor();
    if (!line.isValid())
        return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(line, 2));
    painter.drawRoundedRect(rect().adjusted(1, 1, -1, -1), cardRadius, cardRadius);
}

} // namespace parlowen

#include "moc_CardButton.cpp"
