#include "MouseTracker.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QWidget>
#include <utility>

namespace parlowen {

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

} // namespace parlowen
