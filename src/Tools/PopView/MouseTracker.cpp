#include "MouseTracker.h"

#include <QEvent>
#include <QWidget>
#include <utility>

namespace parlowen {

MouseTracker* MouseTracker::attach(QWidget* view, Observer observer, unsigned option) {
    return new MouseTracker(view, std::move(observer), option);
}

MouseTracker::MouseTracker(QWidget* view, Observer observer, unsigned option)
    : QObject(view)
    , observer_(std::move(observer))
    , option_(option) {
    view->installEventFilter(this);
}

bool MouseTracker::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::Enter:
        report(MouseMoveEvent::entered);
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

void MouseTracker::report(MouseMoveEvent event) {
    event_ = event;
    if (observer_)
        observer_(event);
}

} // namespace parlowen
