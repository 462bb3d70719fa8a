#include "ProgressIndicatorLayer.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <array>
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

// Relative to the square, from its bottom left corner.
constexpr std::array<QPointF, 3> checkMark{{{0.05833, 0.48377}, {0.31429, 0.19167}, {0.93333, 0.80833}}};
constexpr double markWidth = 4;
constexpr double crossSquare = 60;
constexpr double crossInset = 8; // of the strokes' ends from the corners of the square
constexpr double ringDiameter = 58;
constexpr double ringWidth = 2;

QPainterPath checkPath(const QRectF& square) {
    const auto place = [&square](QPointF point) {
        return QPointF(square.x() + point.x() * square.width(), square.y() + (1 - point.y()) * square.height());
    };
    QPainterPath path(place(checkMark[0]));
    path.lineTo(place(checkMark[1]));
    path.lineTo(place(checkMark[2]));
    return path;
}

QPainterPath crossPath(QPointF center) {
    const double reach = crossSquare / 2 - crossInset;
    QPainterPath path(center - QPointF(reach, reach));
    path.lineTo(center + QPointF(reach, reach));
    path.moveTo(center + QPointF(reach, -reach));
    path.lineTo(center + QPointF(-reach, reach));
    return path;
}

/// A dot over a stem with round ends, filled.
QPainterPath letterI(QPointF center) {
    QPainterPath path;
    path.addEllipse(center + QPointF(0, -13.5), 3.2, 3.2);
    path.addRoundedRect(QRectF(center.x() - 2.2, center.y() - 6, 4.4, 23), 2.2, 2.2);
    return path;
}

} // namespace

ProgressIndicatorLayer::ProgressIndicatorLayer(const QColor& color, double size)
    : color_(color)
    , animationTimer_(this) {
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

ProgressHUDIcon::ProgressHUDIcon(ProgressHUDMode::Kind kind, const QColor& color, double size)
    : kind_(kind)
    , color_(color) {
    resize(qRound(size), qRound(size));
}

void ProgressHUDIcon::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF square(rect());
    if (kind_ == ProgressHUDMode::info) {
        painter.setPen(QPen(color_, ringWidth));
        painter.drawEllipse(square.center(), ringDiameter / 2, ringDiameter / 2);
        painter.fillPath(letterI(square.center()), color_);
        return;
    }
    painter.setPen(QPen(color_, markWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(kind_ == ProgressHUDMode::success ? checkPath(square) : crossPath(square.center()));
}

} // namespace parlowen

#include "moc_ProgressIndicatorLayer.cpp"
