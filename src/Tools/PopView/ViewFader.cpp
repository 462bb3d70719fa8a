#include "ViewFader.h"

#include <QGraphicsOpacityEffect>
#include <QWidget>
#include <cmath>
#include <utility>

namespace parlowen {

ViewFader::ViewFader(QWidget* view, double alpha)
    : QObject(view)
    , effect_(new QGraphicsOpacityEffect)
    , animation_(this) {
    view->setGraphicsEffect(effect_);
    apply(alpha);
    connect(&animation_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { apply(value.toDouble()); });
    connect(&animation_, &QVariantAnimation::finished, this, [this] {
        if (const auto finished = std::exchange(finished_, {}))
            finished();
    });
}

void ViewFader::setAlpha(double alpha) {
    animation_.stop();
    finished_ = {};
    apply(alpha);
}

void ViewFader::fadeTo(double alpha, double seconds, std::function<void()> finished) {
    animation_.stop();
    finished_ = std::move(finished);
    animation_.setDuration(static_cast<int>(std::lround(seconds * 1000)));
    animation_.setStartValue(alpha_);
    animation_.setEndValue(alpha);
    animation_.start();
}

void ViewFader::apply(double alpha) {
    alpha_ = alpha;
    if (!effect_)
        return;
    effect_->setOpacity(alpha);
    const bool isNeeded = alpha < 1;
    if (effect_->isEnabled() == isNeeded)
        return;
    effect_->setEnabled(isNeeded);
    // Under the effect nothing counted as opaque, and what does again is not drawn by itself.
    for (QWidget* each : static_cast<QWidget*>(parent())->findChildren<QWidget*>())
        each->update();
}

} // namespace parlowen

#include "moc_ViewFader.cpp"
