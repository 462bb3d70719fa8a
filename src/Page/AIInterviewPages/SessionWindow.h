#pragma once

#include <Foundation/Phrase.h>

#include <QWidget>
#include <memory>

class QLabel;
class QToolButton;

namespace parlowen {

class AIInterviewDetailController;
class ReadingList;
class SessionPage;
class Settings;

/// The session's window: dark, translucent, without a frame, above ordinary windows. It has a close button of its own,
/// is moved by its ground and resized at its edges. Closing it ends the session, but where there is text, which goes
/// with it, only once that has been asked about; no key does.
class SessionWindow : public QWidget {
    Q_OBJECT
public:
    /// Shows the session, which starts at once and ends with the window.
    explicit SessionWindow(std::unique_ptr<AIInterviewDetailController> session, QWidget* parent = nullptr);
    ~SessionWindow() override;

    AIInterviewDetailController* controller() const { return controller_.get(); }
    /// The application's main window, brought to the front when the session has ended.
    void setMainWindow(QWidget* window);
    /// Adds a sentence to the details of the status, where one is shown.
    void addStatusNote(const BilingualText& sentence);
    /// Ends the session and closes the window unasked.
    void end();

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
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
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
    void sayTexts();
    void placeHeader();
    void buildHeader();
    void buildKeyboardOrder();
    void buildKeys();
    void askAboutText();
    void showMenu(ReadingList* list, QPoint globalPosition);

    const std::unique_ptr<AIInterviewDetailController> controller_;
    Settings* const settings_;
    int groundOpacity_;
    SessionPage* page_;
    QLabel* title_;
    QLabel* subject_; ///< of the interview, beside the title
    QToolButton* closeButton_;
    bool isEnding_ = false;
    bool dragging_ = false; ///< where the window system does not move windows for us
    Qt::Edges dragEdges_;   ///< none moves the window
    QPoint dragStart_;
    QRect dragGeometry_;
};

} // namespace parlowen
