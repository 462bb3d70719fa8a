#pragma once

#include "support/WidgetTest.h"

/// What a test reads off the screen, and how it moves what fades there.
namespace parlowen {

/// A character that fills its place with the text's colour.
inline const QString solid = "█";

inline QImage shot(QWidget& view) { return view.grab().toImage().convertToFormat(QImage::Format_RGB32); }

inline QColor over(const QColor& top, double alpha, const QColor& ground) {
    const auto mix = [alpha](int a, int b) { return qRound(a * alpha + b * (1 - alpha)); };
    return {mix(top.red(), ground.red()), mix(top.green(), ground.green()), mix(top.blue(), ground.blue())};
}

/// Matches a colour but for rounding.
MATCHER_P(Looks, color, "looks " + QColor(color).name().toStdString()) {
    const QColor wanted = color;
    *result_listener << arg.name().toStdString();
    return std::abs(arg.red() - wanted.red()) <= 2 && std::abs(arg.green() - wanted.green()) <= 2 &&
           std::abs(arg.blue() - wanted.blue()) <= 2;
}

/// The smallest rectangle that holds every pixel of the kind asked for.
inline QRect extent(const QImage& image, const std::function<bool(const QColor&)>& counts) {
    QRect found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            found |= counts(image.pixelColor(x, y)) ? QRect(x, y, 1, 1) : QRect();
    }
    return found;
}

inline void paintGround(QWidget& view, const QColor& color) {
    view.setAutoFillBackground(true);
    QPalette palette = view.palette();
    palette.setColor(QPalette::Window, color);
    view.setPalette(palette);
}

/// Puts every animation of the view that runs at a share of its time, its end for 1.
inline void moveAnimations(const QObject& view, double share) {
    for (auto* animation : view.findChildren<QVariantAnimation*>()) {
        if (animation->state() == QAbstractAnimation::Running)
            animation->setCurrentTime(qRound(share * animation->duration()));
    }
}

} // namespace parlowen
