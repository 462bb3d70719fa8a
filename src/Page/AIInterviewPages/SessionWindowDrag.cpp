#include "SessionWindow.h"

#include <QMouseEvent>
#include <QWindow>
#include <algorithm>

/// How the session window is moved and resized with the mouse.
namespace parlowen {

namespace {

constexpr int edgeWidth = 6;

Qt::CursorShape cursorAt(Qt::Edges edges) {
    if (edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge))
        return Qt::SizeFDiagCursor;
    if (edges == (Qt::RightEdge | Qt::TopEdge) || edges == (Qt::LeftEdge | Qt::BottomEdge))
        return Qt::SizeBDiagCursor;
    if (edges == Qt::LeftEdge || edges == Qt::RightEdge)
        return Qt::SizeHorCursor;
    return edges == Qt::Edges() ? Qt::ArrowCursor : Qt::SizeVerCursor;
}

} // namespace

Qt::Edges SessionWindow::edgesAt(QPoint position) const {
    Qt::Edges edges;
    edges.setFlag(Qt::LeftEdge, position.x() < edgeWidth);
    edges.setFlag(Qt::RightEdge, position.x() >= width() - edgeWidth);
    edges.setFlag(Qt::TopEdge, position.y() < edgeWidth);
    edges.setFlag(Qt::BottomEdge, position.y() >= height() - edgeWidth);
    return edges;
}

void SessionWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    dragging_ = true;
    dragEdges_ = edgesAt(event->position().toPoint());
    dragStart_ = event->globalPosition().toPoint();
    dragGeometry_ = geometry();
}

void SessionWindow::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_)
        drag(event->globalPosition().toPoint());
    else if (event->buttons() == Qt::NoButton)
        setCursor(cursorAt(edgesAt(event->position().toPoint())));
}

/// The desktop moves the window where it can. It is asked at the first movement: it would hold on to a window whose
/// button is up again before it heard of the press.
void SessionWindow::drag(QPoint global) {
    if (geometry() == dragGeometry_ && global != dragStart_) {
        dragging_ = dragEdges_ == Qt::Edges() ? !windowHandle()->startSystemMove()
                                              : !windowHandle()->startSystemResize(dragEdges_);
    }
    if (dragging_)
        dragTo(global);
}

void SessionWindow::mouseReleaseEvent(QMouseEvent*) { dragging_ = false; }

void SessionWindow::leaveEvent(QEvent*) { unsetCursor(); }

void SessionWindow::dragTo(QPoint global) {
    const QPoint way = global - dragStart_;
    if (dragEdges_ == Qt::Edges()) {
        move(dragGeometry_.topLeft() + way);
        return;
    }
    QRect target = dragGeometry_;
    if (dragEdges_.testFlag(Qt::LeftEdge))
        target.setLeft(std::min(target.left() + way.x(), target.right() - minimumWidth() + 1));
    if (dragEdges_.testFlag(Qt::TopEdge))
        target.setTop(std::min(target.top() + way.y(), target.bottom() - minimumHeight() + 1));
    if (dragEdges_.testFlag(Qt::RightEdge))
        target.setRight(std::max(target.right() + way.x(), target.left() + minimumWidth() - 1));
    if (dragEdges_.testFlag(Qt::BottomEdge))
        target.setBottom(std::max(target.bottom() + way.y(), target.top() + minimumHeight() - 1));
    setGeometry(target);
}

} // namespace parlowen
