#pragma once

#include "ProgressHUDTypes.h"

#include <QFont>
#include <QRect>
#include <QSize>
#include <QString>

namespace parlowen {

/// Where the overlay's box, indicator and text stand, in the overlay's coordinates (points, y downwards).
struct ProgressHUDLayout {
    struct Metrics {
        double margin;
        double padding;
        ProgressHUDPosition position;
    };

    QRect box;
    QRect indicator; ///< null without one
    QRect text;      ///< null without text

    /// `overlay` is the overlay's size; `indicator` the size of what stands above the text, empty for nothing.
    static ProgressHUDLayout of(QSize overlay, const Metrics& metrics, QSize indicator, const QString& text,
                                const QFont& font);
};

} // namespace parlowen
