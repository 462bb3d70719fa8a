#include "CustomBacTextField.h"

#include "Colors.h"
#include "ElidedLabel.h"
#include "SystemFont.h"

#include <QHBoxLayout>
#include <QPainter>

namespace parlowen {

namespace {

constexpr QMargins inset(8, 4, 8, 4);

} // namespace

CustomBacTextField::CustomBacTextField(QWidget* parent)
    : QWidget(parent)
    , textField_(new ElidedLabel(this)) {
    textField_->setFont(systemFont(14));
    textField_->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(inset);
    layout->addWidget(textField_);
}

void CustomBacTextField::setBackgroundColor(const std::optional<QColor>& color) {
    backgroundColor_ = color;
    update();
}

void CustomBacTextField::setCornerRadius(double radius) {
    cornerRadius_ = radius;
    update();
}

void CustomBacTextField::paintEvent(QPaintEvent*) {
    if (!backgroundColor_)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(*backgroundColor_);
    painter.drawRoundedRect(rect(), cornerRadius_, cornerRadius_);
}

PaddedTextField::PaddedTextField(QWidget* parent)
    : QLineEdit(parent) {
    setInsets(insets_);
    // The line round a field that is written in, and the mark in it, are otherwise in the system's colour.
    QPalette colors = palette();
    colors.setColor(QPalette::Highlight, hexColor(theme::accent));
    colors.setColor(QPalette::HighlightedText, Qt::black);
    setPalette(colors);
}

void PaddedTextField::setInsets(const QMargins& insets) {
    insets_ = insets;
    const int side = insets.left() + insets.right();
    // The line is centred vertically, where equal insets above and below leave it.
    setTextMargins(side, 0, side, 0);
    updateGeometry();
}

QSize PaddedTextField::sizeHint() const {
    const int side = insets_.left() + insets_.right();
    // The plain hint holds the text margins of both sides.
    return QLineEdit::sizeHint() + QSize(-side, insets_.top() + insets_.bottom());
}

} // namespace parlowen

#include "moc_CustomBacTextField.cpp"
