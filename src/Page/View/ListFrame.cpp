#include "ListFrame.h"

#include <Tools/PopView/Colors.h>

#include <QPainter>

namespace parlowen {

void ListFrame::buildStyle() { setAttribute(Qt::WA_TransparentForMouseEvents); }

void ListFrame::setHighlighted(bool highlighted) {
    highlighted_ = highlighted;
    update();
}

void ListFrame::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(highlighted_ ? theme::accent : theme::darkGrey), 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

} // namespace parlowen
