#pragma once

#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QWidget>
#include <cstdlib>
#include <functional>
#include <gmock/gmock.h>

/// What a test reads off the screen.
namespace parlowen {

/// A character that fills its place with the text's colour.
inline const QString solid = "█";

inline QImage shot(QWidget& view) { return view.grab().toImage().convertToFormat(QImage::Format_RGB32); }

inline QColor over(const QColor& top, double alpha, const QColor& ground) {
    const auto mix = [alpha](int a, int b) { return qRound(a * alpha + b * (1 - alpha)); };
    return {mix(top.red(), ground.red()), mix(top.green(), ground.green()), mix(top.blue(), ground.blue())};
}

inline bool isNear(const QColor& a, const QColor& b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

/// Matches a colour but for rounding.
MATCHER_P(Looks, color, "looks " + color.name().toStdString()) {
    *result_listener << arg.name().toStdString();
    return isNear(arg, color, 2);
}

/// The smallest rectangle that holds every pixel of the kind asked for.
inline QRect extent(const QImage& image, const std::function<bool(const QColor&)>& counts) {
    QRect found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (counts(image.pixelColor(x, y)))
                found |= QRect(x, y, 1, 1);
        }
    }
    return found;
}

inline void paintGround(QWidget& view, const QColor& color) {
    view.setAutoFillBackground(true);
    QPalette palette = view.palette();
    palette.setColor(QPalette::Window, color);
    view.setPalette(palette);
}

} // namespace parlowen
