#pragma once

#include <QPointer>
#include <QPropertyAnimation>
#include <QString>
#include <QWidget>
#include <functional>

class QGraphicsOpacityEffect;
class QLabel;

namespace parlowen {

enum class ProgressHUDMode { text };
enum class ProgressHUDPosition { top, center, bottom };

/// The overlay for short messages: a rounded box with a line of text, laid over a container, faded in and out.
/// It posts "ProgressHUD.willAppear", ".didAppear", ".willDisappear" and ".didDisappear" with itself as the object.
/// Clicks go to what lies beneath. One instance serves the whole application. Main thread only.
class ProgressHUD : public QWidget {
    Q_OBJECT
public:
    ProgressHUD();
    ~ProgressHUD() override;

    /// The application's one overlay, made on first use; it goes with the application object.
    static ProgressHUD& shared();

    /// Shows the text over the container; a message that is already shown is replaced at once. Does nothing without a
    /// container. It never hides by itself.
    void show(const QString& status, ProgressHUDMode mode);
    /// Hides, at once or with a fade of 0.2 s, and drops every scheduled `hideDelayed`.
    void hide(bool animated);
    /// Drops every scheduled request and hides: without a fade for 0, with it for anything else.
    void hideDelayed(int argument);
    /// Calls `hideDelayed` after so many seconds, unless a hide comes first. A later show does not drop it.
    void performHideDelayed(int argument, double afterSeconds);
    /// Shows the text and hides it with a fade after `toastSeconds`.
    void toast(const QString& text);
    /// How long a toast stays: max(2, min(5, 0.5 + 0.06 × characters)) seconds.
    static double toastSeconds(const QString& text);

    /// What the last show was asked for.
    ProgressHUDMode mode() const { return mode_; }
    /// The text on screen; empty while hidden.
    QString status() const;
    /// 0 (hidden) to 1.
    double alpha() const;

    QPointer<QWidget> containerView;             ///< where to show; without it `mainWindowContent` is asked
    std::function<QWidget*()> mainWindowContent; ///< the content of the application's main window; may give none
    std::function<void()> completionHandler;     ///< called once the overlay is gone
    ProgressHUDPosition position = ProgressHUDPosition::bottom;
    double opacity = 0.9; ///< of the box
    int margin = 18;
    int cornerRadius = 15;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void enter(QWidget* container);
    void leaveContainer();
    void appear(bool animated);
    void fadeTo(double target, bool animated, std::function<void()> finished);
    void finishHiding();
    void layoutBox();
    void post(const char* event);

    ProgressHUDMode mode_ = ProgressHUDMode::text;
    QLabel* statusLabel_;
    QGraphicsOpacityEffect* fade_;
    QPropertyAnimation animation_;
    std::function<void()> fadeFinished_;
    QRect box_;
    unsigned scheduled_ = 0; ///< requests scheduled under an earlier number are dropped
};

} // namespace parlowen
