#include "MouseTracker.h"

#include <QCursor>
#include <QEvent>
#include <QGraphicsEffect>
#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>
#include <QPointer>
#include <QWidget>
#include <utility>

namespace parlowen {

namespace {

/// Draws the view with rounded corners, a colour over it and a transform about its centre.
class HoverLook : public QGraphicsEffect {
public:
    explicit HoverLook(const std::vector<HoverEffect>& effects) {
        for (const HoverEffect& effect : effects)
            std::visit([this](const auto& value) { take(value); }, effect.value());
        setEnabled(false);
    }

    QRectF boundingRectFor(const QRectF& source) const override {
        return source.united(about(source.center()).mapRect(source));
    }

protected:
    void draw(QPainter* painter) override {
        QPoint offset;
        QPixmap picture = sourcePixmap(Qt::LogicalCoordinates, &offset, NoPad);
        const QRectF bounds(QPointF(offset), QSizeF(picture.size()) / picture.devicePixelRatio());
        decorate(picture, bounds.size());
        painter->save();
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->setTransform(about(bounds.center()), true);
        painter->drawPixmap(offset, picture);
        painter->restore();
    }

private:
    void take(double radius) { cornerRadius_ = radius; }
    void take(const QColor& color) { background_ = color; }
    void take(const QMatrix4x4& matrix) { transform_ = matrix.toTransform(); }

    QTransform about(QPointF center) const {
        return QTransform::fromTranslate(-center.x(), -center.y()) * transform_ *
               QTransform::fromTranslate(center.x(), center.y());
    }

    void decorate(QPixmap& picture, QSizeF size) const {
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(QRectF({}, size), background_);
        if (cornerRadius_ <= 0)
            return;
        QPixmap shape(picture.size());
        shape.setDevicePixelRatio(picture.devicePixelRatio());
        shape.fill(Qt::transparent);
        QPainter shapePainter(&shape);
        shapePainter.setRenderHint(QPainter::Antialiasing);
        shapePainter.setPen(Qt::NoPen);
        shapePainter.setBrush(Qt::black);
        shapePainter.drawRoundedRect(QRectF({}, size), cornerRadius_, cornerRadius_);
        shapePainter.end();
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.drawPixmap(0, 0, shape);
    }

    double cornerRadius_ = 0;
    QColor background_ = Qt::transparent;
    QTransform transform_;
};

} // namespace

MouseTracker* MouseTracker::attach(QWidget* view, Observer observer, unsigned option) {
    return new MouseTracker(view, std::move(observer), option);
}

MouseTracker::MouseTracker(QWidget* view, Observer observer, unsigned option)
    : QObject(view)
    , view_(view)
    , observer_(std::move(observer))
    , option_(option)
    , isActive_(QGuiApplication::applicationState() == Qt::ApplicationActive) {
    view->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        isActive_ = state == Qt::ApplicationActive;
        if (view_->isVisible())
            checkPointer();
    });
    if (view->isVisible())
        checkPointer();
}

bool MouseTracker::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::Enter:
        if (isActive_)
            report(MouseMoveEvent::entered);
        break;
    case QEvent::Show:
    case QEvent::Resize:
        checkPointer();
        break;
    case QEvent::Hide: // a view that goes away under the pointer gets no leave event
        if (event_ == MouseMoveEvent::entered)
            report(MouseMoveEvent::exited);
        break;
    case QEvent::Leave:
        report(MouseMoveEvent::exited);
        break;
    case QEvent::MouseButtonPress:
        if ((option_ & mouseDownExits) != 0)
            report(MouseMoveEvent::exited);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void MouseTracker::checkPointer() {
    const bool inside = isActive_ && view_->visibleRegion().contains(view_->mapFromGlobal(QCursor::pos()));
    report(inside ? MouseMoveEvent::entered : MouseMoveEvent::exited);
}

void MouseTracker::report(MouseMoveEvent event) {
    event_ = event;
    if (observer_)
        observer_(event);
}

HoverEffect::HoverEffect(const Value& value)
    : value_(value) {}

HoverEffect HoverEffect::cornerRadius(double value) { return HoverEffect(Value(value)); }

HoverEffect HoverEffect::background(const QColor& color) { return HoverEffect(Value(color)); }

HoverEffect HoverEffect::transform(const QMatrix4x4& value) { return HoverEffect(Value(value)); }

void applyHoverEffects(QWidget* view, const std::vector<HoverEffect>& effects) {
    auto* look = new HoverLook(effects);
    view->setGraphicsEffect(look);
    MouseTracker::attach(view, [look = QPointer<QGraphicsEffect>(look)](MouseMoveEvent event) {
        if (look)
            look->setEnabled(event == MouseMoveEvent::entered);
    });
}

} // namespace parlowen

#include "moc_MouseTracker.cpp"
