#include "ElidedLabel.h"

#include <QPainter>
#include <QStyle>

namespace parlowen {

ElidedLabel::ElidedLabel(QWidget* parent)
    : QLabel(parent) {
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::minimumSizeHint() const { return {0, QLabel::minimumSizeHint().height()}; }

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect room = contentsRect();
    style()->drawItemText(&painter, room, static_cast<int>(alignment()) | Qt::TextSingleLine, palette(), isEnabled(),
                          fontMetrics().elidedText(text(), Qt::ElideRight, room.width()), foregroundRole());
}

} // namespace parlowen
