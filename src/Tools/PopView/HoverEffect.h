#pragma once

#include <QColor>
#include <QMatrix4x4>
#include <variant>
#include <vector>

class QWidget;

namespace parlowen {

/// What a view looks like while the pointer is over it.
class HoverEffect {
public:
    /// Rounds the view's corners.
    static HoverEffect cornerRadius(double value);
    /// Lays a colour over the view.
    static HoverEffect background(const QColor& color);
    /// Moves, scales or turns the view's picture about its centre.
    static HoverEffect transform(const QMatrix4x4& value);

    using Value = std::variant<double, QColor, QMatrix4x4>;
    const Value& value() const { return value_; }

private:
    explicit HoverEffect(const Value& value);
    Value value_;
};

/// Gives the view these effects while the pointer is over it. They take the place of the view's graphics effect.
void applyHoverEffects(QWidget* view, const std::vector<HoverEffect>& effects);

} // namespace parlowen
