#pragma once

#include "KeyFocusButton.h"

namespace parlowen {

/// A card of 300 × 100 points (at the usual font scale), or narrower where there is less room, that is a picture and is
/// pressed as a whole, by mouse or keys. It shows where the pointer and the keyboard are. Main thread only.
class CardButton : public KeyFocusButton {
    Q_OBJECT
public:
    /// Shows the picture of that name (`namedImage`).
    CardButton(const QString& image, QWidget* parent);

    /// The colour of a line round the card, as for what is dragged over it; none when invalid.
    void setOutline(const QColor& color);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor outline_;
};

} // namespace parlowen
