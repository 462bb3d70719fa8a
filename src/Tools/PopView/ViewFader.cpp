#include "ViewFader.h"

#include <QGraphicsOpacityEffect>
#include <QWidget>
#include <cmath>
#include <utility>

namespace parlowen {

ViewFader::ViewFader(QWidget* view, double alpha)
    : QObject(view)
    , effect_(new QGraphicsOpacityEffect) {
    view->setGraphicsEffect(effect_);
    apply(alpha);
    animation_.setTargetObject(effect_);
    animation_.setPropertyName("opacity");
    connect(&animation_, &QPropertyAnimation::finished, this, [this] {
        apply(this->alpha());
        if (const auto finished = std::exchange(finished_, {}))
            finished();
    });
}

double ViewFader::alpha() const { return effect_ ? effect_->opacity() : 0; }

void ViewFader::setAlpha(double alpha) {
    animation_.stop();
    finished_ = {};
    apply(alpha);
}

void ViewFader::fadeTo(double alpha, double seconds, std::function<void()> finished) {
    animation_.stop();
    effect_->setEnabled(true);
    finished_ = std::move(finished);
    animation_.setDuration(static_cast<int>(std::lround(seconds * 1000)));
    animation_.setStartValue(effect_->opacity());
    animation_.setEndValue(alpha);
    animation_.start();
}

void ViewFader::apply(double alpha) {
    if (!effect_)
        return;
    effect_->setOpacity(alpha);
    effect_->setEnabled(alpha < 1);
}

} // namespace parlowen
