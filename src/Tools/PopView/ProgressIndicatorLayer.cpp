#include "ProgressIndicatorLayer.h"

#include <QPainter>
#include <algorithm>
#include <chrono>

namespace parlowen {

namespace {

constexpr std::chrono::milliseconds step(50);
constexpr double restingOpacity = 0.12;
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
    fadeDownOpacity_ = restingOpacity;
    finOpacities_.fill(fadeDownOpacity_);
    finOpacities_.at(static_cast<std::size_t>(fposition_)) = 1;
    animationTimer_.start();
    update();
}

void ProgressIndicatorLayer::stopAnimation() {
    animationTimer_.stop();
    finOpacities_.fill(0);
    update();
}

void ProgressIndicatorLayer::advancePosition() {
    for (double& opacity : finOpacities_)
        opacity = std::max(fadeDownOpacity_, opacity - fadePerStep);
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
