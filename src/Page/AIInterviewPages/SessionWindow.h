#pragma once

#include "SessionServices.h"

#include <QPointer>
#include <QWidget>

class QLabel;
class QToolButton;

namespace parlowen {

class AIInterviewDetailController;

/// The session's window: dark, translucent, without a frame, above ordinary windows. It has a close button of its own,
/// is moved by its ground and resized at its edges. Closing it ends the session.
class SessionWindow : public QWidget {
    Q_OBJECT
public:
    /// Makes the page with these collaborators; the session starts at once.
    explicit SessionWindow(SessionServices services, QWidget* parent = nullptr);
    ~SessionWindow() override;

    AIInterviewDetailController* controller() const { return controller_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    Qt::Edges edgesAt(QPoint position) const;
    void dragTo(QPoint global);

    AIInterviewDetailController* controller_;
    QLabel* title_;
    QToolButton* closeButton_;
    bool dragging_ = false; ///< where the window system does not move windows for us
    Qt::Edges dragEdges_;   ///< none moves the window
    QPoint dragStart_;
    QRect dragGeometry_;
};

} // namespace parlowen
