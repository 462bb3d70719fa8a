#pragma once

#include "ProgressHUDTypes.h"

#include <QWidget>

namespace parlowen {

/// The drawn mark of the overlay's `success`, `error` and `info` modes.
class ProgressHUDIcon : public QWidget {
    Q_OBJECT
public:
    /// A square of `size` points, drawn in `color`.
    ProgressHUDIcon(ProgressHUDMode::Kind kind, const QColor& color, double size);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ProgressHUDMode::Kind kind_;
    QColor color_;
};

} // namespace parlowen
