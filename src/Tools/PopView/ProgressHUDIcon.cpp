#include "ProgressHUDIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <array>

namespace parlowen {

namespace {

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
