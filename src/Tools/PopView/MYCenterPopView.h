#pragma once

#include "PopView.h"

namespace parlowen {

/// A card in the middle of its container, faded in and out.
class MYCenterPopView : public PopView {
    Q_OBJECT
public:
    /// Shows the card, in its own size, centred over the container.
    static MYCenterPopView* show(QWidget* content, QWidget* container);

    /// Whether clicks beside the card end here, without effect, as they do at first; otherwise they go to what lies
    /// beneath.
    bool enableGes() const { return enableGes_; }
    void setEnableGes(bool enabled);

protected:
    QPoint restingPlace() const override;
    void resizeEvent(QResizeEvent* event) override;

private:
    MYCenterPopView(QWidget* content, QWidget* container);
    void shape();

    bool enableGes_ = true;
};

/// Dismisses the centred pop-up of the active window, wherever in it, and of several the lowest. Does nothing without
/// one, nor while the lowest is on its way out: a second click on its button leaves those above alone.
void closeCurrentPopView();

} // namespace parlowen
