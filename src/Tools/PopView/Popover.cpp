#include "Popover.h"

#include "Accessibility.h"
#include "Colors.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <algorithm>

namespace parlowen {

namespace {

using Edge = Popover::Edge;

constexpr int arrow = 9;        // its length; at its foot it is twice as wide
constexpr int contentInset = 8; // of the content in the body
constexpr int bodyRadius = 10;

bool isVertical(Edge edge) { return edge == Edge::above || edge == Edge::below; }

Edge opposite(Edge edge) {
    switch (edge) {
    case Edge::above:
        return Edge::below;
    case Edge::below:
        return Edge::above;
    case Edge::left:
        return Edge::right;
    default:
        return Edge::left;
    }
}

/// How much room the screen has beside an edge of the anchor.
int roomAt(Edge edge, const QRect& anchor, const QRect& screen) {
    switch (edge) {
    case Edge::above:
        return anchor.top() - screen.top();
    case Edge::below:
        return screen.bottom() - anchor.bottom();
    case Edge::left:
        return anchor.left() - screen.left();
    default:
        return screen.right() - anchor.right();
    }
}

QPoint cornerAt(Edge edge, const QRect& anchor, QSize size) {
    const QPoint centred(anchor.center().x() - size.width() / 2, anchor.center().y() - size.height() / 2);
    switch (edge) {
    case Edge::above:
        return {centred.x(), anchor.top() - size.height()};
    case Edge::below:
        return {centred.x(), anchor.bottom() + 1};
    case Edge::left:
        return {anchor.left() - size.width(), centred.y()};
    default:
        return {anchor.right() + 1, centred.y()};
    }
}

/// The side of the window that the arrow takes up.
QMargins arrowSide(Edge edge) {
    return {edge == Edge::right ? arrow : 0, edge == Edge::below ? arrow : 0, edge == Edge::left ? arrow : 0,
            edge == Edge::above ? arrow : 0};
}

/// What lies in the outline and a point round it, for its smooth edge. Beside it the window is cut off: without a
/// compositor it would be black there.
QRegion grown(const QPainterPath& outline) {
    const QRegion inside(outline.toFillPolygon().toPolygon());
    QRegion all = inside;
    for (const QPoint step : {QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1), QPoint(0, -1)})
        all += inside.translated(step);
    return all;
}

QWidget* firstField(QWidget* content) {
    for (QWidget* field = content; field != nullptr; field = field->nextInFocusChain()) {
        const bool inside = field == content || content->isAncestorOf(field);
        if (inside && (field->focusPolicy() & Qt::TabFocus) == Qt::TabFocus && field->isVisible() && field->isEnabled())
            return field;
        if (field->nextInFocusChain() == content)
            break;
    }
    return content;
}

} // namespace

Popover::Popover(QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint) {
    setAccessibleRole(*this, QAccessible::Dialog);
    setAttribute(Qt::WA_TranslucentBackground);
    setPalette(lightPalette(Qt::white));
}

void Popover::setContentView(QWidget* content) {
    if (content == content_)
        return;
    if (content_) {
        content_->hide();
        content_->deleteLater(); // it may be what asks for the change
    }
    content_ = content;
    if (!content->testAttribute(Qt::WA_Resized))
        content->adjustSize();
    content->setParent(this);
    setAccessibleName(content->accessibleName());
}

Popover::Place Popover::place(const QRect& anchor, QSize content, Edge wanted, const QRect& screen) {
    const QSize body = content + QSize(2 * contentInset, 2 * contentInset);
    const QSize size = body + (isVertical(wanted) ? QSize(0, arrow) : QSize(arrow, 0));
    const int needed = isVertical(wanted) ? size.height() : size.width();
    const Edge other = opposite(wanted);
    const bool flips =
        roomAt(wanted, anchor, screen) < needed && roomAt(other, anchor, screen) > roomAt(wanted, anchor, screen);
    const Edge edge = flips ? other : wanted;
    const QPoint corner = cornerAt(edge, anchor, size);
    const auto within = [](int value, int low, int high) { return std::clamp(value, low, std::max(low, high)); };
    return {{QPoint(within(corner.x(), screen.left(), screen.right() + 1 - size.width()),
                    within(corner.y(), screen.top(), screen.bottom() + 1 - size.height())),
             size},
            edge};
}

void Popover::show(QWidget* anchor, Edge edge) {
    if (content_ == nullptr)
        return;
    anchor_ = anchor;
    focusBefore_ = anchor->window()->focusWidget();
    const QRect beside(anchor->mapToGlobal(QPoint(0, 0)), anchor->size());
    const Place found = place(beside, content_->size(), edge, anchor->screen()->availableGeometry());
    edge_ = found.edge;
    const QRect body = QRect(QPoint(0, 0), found.frame.size()).marginsRemoved(arrowSide(edge_));
    const QPoint middle = beside.center() - found.frame.topLeft();
    const int room = bodyRadius + arrow;
    tip_ = isVertical(edge_) ? QPoint(std::clamp(middle.x(), room, std::max(room, body.width() - room)),
                                      edge_ == Edge::below ? 0 : found.frame.height())
                             : QPoint(edge_ == Edge::right ? 0 : found.frame.width(),
                                      std::clamp(middle.y(), room, std::max(room, body.height() - room)));
    content_->move(body.topLeft() + QPoint(contentInset, contentInset));
    content_->show();
    setAttribute(Qt::WA_NoMouseReplay, false);
    setGeometry(found.frame);
    setMask(grown(outline()));
    setVisible(true);
    update();
    firstField(content_)->setFocus(Qt::PopupFocusReason);
}

QPainterPath Popover::outline() const {
    QPainterPath shape;
    const QRectF body = QRectF(rect().marginsRemoved(arrowSide(edge_))).adjusted(0.5, 0.5, -0.5, -0.5);
    shape.addRoundedRect(body, bodyRadius, bodyRadius);
    const QPointF back = isVertical(edge_) ? QPointF(0, edge_ == Edge::below ? arrow + 1 : -arrow - 1)
                                           : QPointF(edge_ == Edge::right ? arrow + 1 : -arrow - 1, 0);
    const QPointF aside = isVertical(edge_) ? QPointF(arrow, 0) : QPointF(0, arrow);
    QPainterPath pointer;
    pointer.addPolygon(QPolygonF({QPointF(tip_), tip_ + back + aside, tip_ + back - aside, QPointF(tip_)}));
    return shape.united(pointer);
}

void Popover::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::lightGrey), 1));
    painter.setBrush(palette().color(QPalette::Window));
    painter.drawPath(outline());
}

// The press is handed on to what lies beneath; on the anchor it would open the popover again.
void Popover::mousePressEvent(QMouseEvent* event) {
    const bool onAnchor =
        anchor_ && anchor_->rect().contains(anchor_->mapFromGlobal(event->globalPosition()).toPoint());
    setAttribute(Qt::WA_NoMouseReplay, onAnchor);
    QWidget::mousePressEvent(event);
}

void Popover::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (focusBefore_ && focusBefore_->isVisible() && focusBefore_->window()->isActiveWindow())
        focusBefore_->setFocus(Qt::PopupFocusReason);
    Q_EMIT closed();
}

} // namespace parlowen

#include "moc_Popover.cpp"
