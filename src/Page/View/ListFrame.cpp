#include "ListFrame.h"

#include <Tools/PopView/Colors.h>

#include <QPainter>

namespace parlowen {

QColor ListFrame::ground() { return {0, 0, 0, 46}; }

void ListFrame::buildStyle() { setAttribute(Qt::WA_TransparentForMouseEvents); }

void ListFrame::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::darkGrey), 1));
    painter.setBrush(ground());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

} // namespace parlowen
