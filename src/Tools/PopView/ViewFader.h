#pragma once

#include <QPointer>
#include <QVariantAnimation>
#include <functional>

class QGraphicsOpacityEffect;
class QWidget;

namespace parlowen {

/// Fades a view and all that it holds. It takes the place of the view's graphics effect, which costs something only
/// while the view is neither clear nor opaque; a later effect of the view's ends the fading, not its callbacks. It
/// lives as a child of the view. Main thread only.
class ViewFader : public QObject {
    Q_OBJECT
public:
    /// The view starts at this alpha, 0 to 1.
    ViewFader(QWidget* view, double alpha);

    double alpha() const { return alpha_; }
    /// Sets the alpha at once; drops a fade that is under way together with what was to follow it.
    void setAlpha(double alpha);
    /// Fades to the alpha and then calls `finished`; a later call overtakes it.
    void fadeTo(double alpha, double seconds, std::function<void()> finished);

private:
    void apply(double alpha);

    QPointer<QGraphicsOpacityEffect> effect_;
    QVariantAnimation animation_;
    double alpha_ = 0;
    std::function<void()> finished_;
};

} // namespace parlowen
