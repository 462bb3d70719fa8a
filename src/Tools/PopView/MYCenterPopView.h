#pragma once

#include "PopView.h"

namespace parlowen {

/// A card in the middle of its container, faded in and out. Clicks beside the card do nothing.
class MYCenterPopView : public PopView {
    Q_OBJECT
public:
    /// Shows the card, in its own size, centred over the container.
    static MYCenterPopView* show(QWidget* content, QWidget* container);

protected:
    QPoint restingPlace() const override;

private:
    MYCenterPopView(QWidget* content, QWidget* container);
};

/// Dismisses the centred pop-up of the active window: of several the lowest that is not already going. Does nothing
/// without.
void closeCurrentPopView();

} // namespace parlowen
