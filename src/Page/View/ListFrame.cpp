#include "ListFrame.h"

#include <Tools/PopView/Colors.h>

#include <QPainter>

namespace parlowen {

namespace {

constexpr double cornerRadius = 10;

void drawLine(QPainter& painter, const QColor& color, const QRect& frame, int inset) {
    const double middle = inset + 0.5;
    painter.setPen(QPen(color, 1));
    painter.drawRoundedRect(QRectF(frame).adjusted(middle, middle, -middle, -middle), cornerRadius - inset,
                            cornerRadius - inset);
}

} // namespace

void ListFrame::buildStyle() { setAttribute(Qt::WA_TransparentForMouseEvents); }

void ListFrame::setHighlighted(bool highlighted) {
    highlighted_ = highlighted;
    update();
}

void ListFrame::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    drawLine(painter, hexColor(highlighted_ ? theme::accent : theme::darkGrey), rect(), 0);
    drawLine(painter, hexColor(theme::onDark, theme::hairline), rect(), 1);
}

} // namespace parlowen

#include "moc_ListFrame.cpp"
