#pragma once

#include "PopView.h"

class QPropertyAnimation;

namespace parlowen {

/// A card at the bottom edge of its container that slides in and out. A click beside the card dismisses it.
class MYBottomPopView : public PopView {
    Q_OBJECT
public:
    /// Shows the card, in its own size, centred at the container's bottom edge.
    static MYBottomPopView* show(QWidget* content, QWidget* container);

    /// A click at this place of the pop-up: dismisses it unless the place lies within the card.
    void dismissOnBackgroundClick(QPoint location);

    bool enableGesture = true; ///< whether clicks beside the card count

protected:
    QPoint restingPlace() const override;
    void leave() override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    MYBottomPopView(QWidget* content, QWidget* container);
    QPoint hiddenPlace() const;
    bool isBeside(QPoint place) const;
    void slide(QPoint from, QPoint to);

    QPropertyAnimation* slide_;
    bool isPressedBeside_ = false; ///< whether the press that is going on began beside the card
};

} // namespace parlowen
