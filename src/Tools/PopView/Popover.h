#pragma once

#include <QPainterPath>
#include <QPointer>
#include <QWidget>

namespace parlowen {

/// A small window beside a view, with an arrow towards it, that holds another view: a picker, for example. It closes on
/// a click beside it, which a click on the anchor is too, and on Escape; the keyboard then goes back to where it was.
/// It may be opened again, with another content. Main thread only.
class Popover : public QWidget {
    Q_OBJECT
public:
    enum class Edge { above, below, left, right };

    explicit Popover(QWidget* parent);

    /// The popover owns its content and deletes the one before. The content has its own size.
    void setContentView(QWidget* content);
    QWidget* contentView() const { return content_; }

    /// Opens beside that edge of the anchor, on the opposite side where the screen ends too soon, and gives the
    /// keyboard to the content's first field. Does nothing without a content.
    void show(QWidget* anchor, Edge edge);

    struct Place {
        QRect frame; ///< of the window, in the screen's coordinates
        Edge edge;   ///< the anchor's edge that it stands at
    };
    /// Where a content of that size stands by an anchor on a screen, all in the screen's coordinates.
    static Place place(const QRect& anchor, QSize content, Edge wanted, const QRect& screen);

Q_SIGNALS:
    void closed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QPainterPath outline() const;

    QPointer<QWidget> content_;
    QPointer<QWidget> anchor_;
    QPointer<QWidget> focusBefore_;
    Edge edge_ = Edge::below;
    QPoint tip_; ///< of the arrow
};

} // namespace parlowen
