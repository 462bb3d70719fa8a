#pragma once

#include "SessionServices.h"

#include <QPointer>
#include <QWidget>

class QLabel;
class QToolButton;

namespace parlowen {

class AIInterviewDetailController;
class ReadingList;

/// The session's window: dark, translucent, without a frame, above ordinary windows. It has a close button of its own,
/// is moved by its ground and resized at its edges. Closing it ends the session; no key does.
class SessionWindow : public QWidget {
    Q_OBJECT
public:
    /// Makes the page with these collaborators; the session starts at once.
    explicit SessionWindow(SessionServices services, QWidget* parent = nullptr);
    ~SessionWindow() override;

    AIInterviewDetailController* controller() const { return controller_; }

    /// How opaque the window's ground is, in percent. Its text is always opaque.
    int groundOpacity() const { return groundOpacity_; }
    /// Sets it within its limits and stores it.
    void setGroundOpacity(int percent);
    static constexpr int leastOpacity = 50; ///< its white text can be read before a white page
    static constexpr int usualOpacity = 70;
    static constexpr int fullOpacity = 100;
    static constexpr int opacityStep = 5; ///< of the keys

    void setVisible(bool visible) override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool event(QEvent* event) override;

private:
    Qt::Edges edgesAt(QPoint position) const;
    void drag(QPoint global);
    void dragTo(QPoint global);
    void buildHeader();
    void buildKeyboardOrder();
    void buildKeys();
    void showMenu(ReadingList* list, QPoint globalPosition);

    Settings* const settings_;
    int groundOpacity_;
    AIInterviewDetailController* controller_;
    QLabel* title_;
    QLabel* subject_; ///< of the interview, beside the title
    QToolButton* closeButton_;
    bool dragging_ = false; ///< where the window system does not move windows for us
    Qt::Edges dragEdges_;   ///< none moves the window
    QPoint dragStart_;
    QRect dragGeometry_;
};

} // namespace parlowen
