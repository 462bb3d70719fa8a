#include "ElidedLabel.h"

#include <QImage>
#include <QPainter>
#include <QStyle>
#include <QTextOption>

namespace parlowen {

namespace {

QTextOption wrapping() {
    QTextOption option(Qt::AlignCenter);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    return option;
}

} // namespace

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

WrappedLabel::WrappedLabel(QWidget* parent)
    : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
}

QSize WrappedLabel::textSize(const QString& text, const QFont& font, int maxWidth) {
    if (text.isEmpty())
        return {0, 0};
    // Only a painter measures with these rules.
    QImage paper(1, 1, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&paper);
    painter.setFont(font);
    const QRectF room(0, 0, maxWidth, QWIDGETSIZE_MAX);
    return painter.boundingRect(room, text, wrapping()).toAlignedRect().size();
}

void WrappedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    painter.drawText(QRectF(contentsRect()), text(), wrapping());
}

} // namespace parlowen

#include "moc_ElidedLabel.cpp"
