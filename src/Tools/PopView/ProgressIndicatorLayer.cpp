#include "ProgressIndicatorLayer.h"

#include <QPainter>
#include <algorithm>
#include <chrono>

namespace parlowen {

namespace {

constexpr std::chrono::milliseconds step(50);
constexpr double waitingOpacity = 0.12;
constexpr double doneOpacity = 0.55;
constexpr double fadePerStep = 0.1;
constexpr double finWidth = 0.095; // shares of the smaller side
constexpr double finHeight = 0.3;
constexpr double finEdge = 0.01; // room between a fin's outer end and the edge

} // namespace

ProgressIndicatorLayer::ProgressIndicatorLayer(const QColor& color, double size)
    : color_(color) {
    resize(qRound(size), qRound(size));
    animationTimer_.setTimerType(Qt::PreciseTimer);
    animationTimer_.setInterval(step);
    connect(&animationTimer_, &QTimer::timeout, this, &ProgressIndicatorLayer::advancePosition);
}

void ProgressIndicatorLayer::startAnimation() {
    fadeDownOpacity_ = waitingOpacity;
    for (int fin = 0; fin < numFins; ++fin)
        finOpacities_.at(static_cast<std::size_t>(fin)) = restingOpacity(fin);
    finOpacities_.at(static_cast<std::size_t>(fposition_)) = 1;
    animationTimer_.start();
    update();
}

void ProgressIndicatorLayer::stopAnimation() {
    animationTimer_.stop();
    finOpacities_.fill(0);
    update();
}

void ProgressIndicatorLayer::setProgress(double progress) { progress_ = std::clamp(progress, 0.0, 1.0); }

double ProgressIndicatorLayer::restingOpacity(int fin) const {
    return fin < qRound(progress_ * numFins) ? doneOpacity : fadeDownOpacity_;
}

void ProgressIndicatorLayer::advancePosition() {
    for (int fin = 0; fin < numFins; ++fin) {
        double& opacity = finOpacities_.at(static_cast<std::size_t>(fin));
        opacity = std::max(restingOpacity(fin), opacity - fadePerStep);
    }
    fposition_ = (fposition_ + 1) % numFins;
    finOpacities_.at(static_cast<std::size_t>(fposition_)) = 1;
    update();
}

void ProgressIndicatorLayer::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.translate(QRectF(rect()).center());
    const double side = std::min(width(), height());
    const double breadth = finWidth * side;
    const QRectF bar(-breadth / 2, -(0.5 - finEdge) * side, breadth, finHeight * side);
    for (const double opacity : finOpacities_) {
        QColor shade = color_;
        shade.setAlphaF(static_cast<float>(color_.alphaF() * opacity));
        painter.setBrush(shade);
        painter.drawRoundedRect(bar, breadth / 2, breadth / 2);
        painter.rotate(360.0 / numFins);
    }
}

} // namespace parlowen
