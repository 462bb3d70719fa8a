#pragma once

#include <QColor>
#include <QMatrix4x4>
#include <QObject>
#include <functional>
#include <variant>
#include <vector>

class QWidget;

namespace parlowen {

enum class MouseMoveEvent { exited, entered };

/// Bits of `MouseTracker::option`.
enum MouseTrackOption : unsigned { mouseDownExits = 1U };

/// Reports when the pointer enters and leaves a view, and where it is whenever the view is shown or resized. While
/// another application is the active one the pointer counts as outside. It lives as a child of the view and ends with
/// it. Main thread.
class MouseTracker : public QObject {
    Q_OBJECT
public:
    using Observer = std::function<void(MouseMoveEvent)>;

    /// Starts tracking the view; the view owns the tracker.
    static MouseTracker* attach(QWidget* view, Observer observer, unsigned option = 0);

    /// The last event; `exited` until the pointer comes in.
    MouseMoveEvent event() const { return event_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    MouseTracker(QWidget* view, Observer observer, unsigned option);
    void checkPointer();
    void report(MouseMoveEvent event);

    QWidget* view_;
    Observer observer_;
    unsigned option_;
    bool isActive_; ///< whether this application is the active one
    MouseMoveEvent event_ = MouseMoveEvent::exited;
};

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
