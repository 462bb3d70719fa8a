#include "CustomBacTextField.h"

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

} // namespace parlowen
