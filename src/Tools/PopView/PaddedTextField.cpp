#include "PaddedTextField.h"

#include "Colors.h"

namespace parlowen {

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
