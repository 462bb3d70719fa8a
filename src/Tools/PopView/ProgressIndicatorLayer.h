#pragma once

#include "ProgressHUDLook.h"

#include <QColor>
#include <QTimer>
#include <QWidget>
#include <array>

namespace parlowen {

/// The spinner: fins round a centre, lit one after the other and fading behind the lit one. Main thread only.
class ProgressIndicatorLayer : public QWidget {
    Q_OBJECT
public:
    static constexpr int numFins = 12;

    /// A square of `size` points.
    ProgressIndicatorLayer(const QColor& color, double size);

    /// Lights the next fin every 0.05 s until `stopAnimation`.
    void startAnimation();
    /// Stops and puts every fin out.
    void stopAnimation();
    /// The share of the fins, 0 to 1, that stay bright behind the lit one, clockwise from the top.
    void setProgress(double progress);

    bool isRunning() const { return animationTimer_.isActive(); }
    const QColor& color() const { return color_; }
    /// The fin that was lit last; 0 stands upright, the others follow clockwise.
    int fposition() const { return fposition_; }
    /// What a fin beyond the progress fades down to.
    double fadeDownOpacity() const { return fadeDownOpacity_; }
    /// How bright a fin is, 0 to 1.
    double finOpacity(int fin) const { return finOpacities_.at(static_cast<std::size_t>(fin)); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void advancePosition();
    double restingOpacity(int fin) const;

    QColor color_;
    QTimer animationTimer_;
    int fposition_ = 0;
    double fadeDownOpacity_ = 0;
    double progress_ = 0;
    std::array<double, numFins> finOpacities_{};
};

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
