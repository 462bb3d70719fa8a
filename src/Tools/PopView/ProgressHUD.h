#pragma once

#include "ProgressHUDLook.h"
#include "ProgressIndicatorLayer.h"

#include <QPointer>
#include <QString>
#include <QWidget>
#include <functional>
#include <memory>

class QLabel;

namespace parlowen {

class ViewFader;

/// The overlay for short messages and busy signs: a rounded box with an optional indicator above a line of text, laid
/// over a container, faded in and out. One instance serves the whole application. Main thread only.
///
/// It posts "ProgressHUD.willAppear", ".didAppear", ".willDisappear", ".didDisappear" and ".didReceiveMouseDownEvent"
/// with itself as the object. A change of the look's members counts from the next show on.
class ProgressHUD : public QWidget, public ProgressHUDLook {
    Q_OBJECT
public:
    ProgressHUD();
    ~ProgressHUD() override;

    /// The application's one overlay, made on first use; it goes with the application object.
    static ProgressHUD& shared();

    /// Shows the text over the container in the look of this moment; what is already on screen is replaced at once,
    /// where it is. False without a container: nothing is then shown. It never hides by itself.
    bool show(const QString& status, const ProgressHUDMode& mode);
    /// Hides, at once or with a fade of 0.2 s, and drops every scheduled `hideDelayed`.
    void hide(bool animated);
    /// Drops every scheduled request and hides: without a fade for 0, with it for anything else.
    void hideDelayed(int argument = 1);
    /// Calls `hideDelayed` after so many seconds, unless a hide comes first. A later show does not drop it.
    void performHideDelayed(int argument, double afterSeconds);

    /// Shows the text and hides it with a fade after `toastSeconds`. Without a container it goes to the console log.
    void toast(const QString& text);
    /// The same with the mark of an error.
    void error(const QString& text);
    /// How long a toast stays: 0.5 + 0.06 × characters seconds, within the two intervals below.
    double toastSeconds(const QString& text) const;

    /// How much is done, 0 to 1: the share of the spinner's fins that stay bright in the `determinate` mode.
    void setProgress(double progress);
    double progress() const { return progress_; }

    /// What the last show was asked for.
    const ProgressHUDMode& mode() const { return mode_; }
    /// The text on screen; empty while hidden.
    QString status() const;
    /// 0 (hidden) to 1.
    double alpha() const;
    /// The box, in the overlay's coordinates; its size is zero before the first show.
    QRect box() const { return layout_.box; }
    /// What stands above the text; null without it.
    QWidget* indicator() const { return indicator_; }
    /// The spinner made when the overlay last came up; null before.
    ProgressIndicatorLayer* progressIndicator() const { return progressIndicator_; }
    QLabel* statusLabel() const { return statusLabel_; }

    using ProgressHUDLook::style; // the base widget has a member of that name, too

    bool dismissible = false;                    ///< whether a click hides it
    double minimumDismissTimeInterval = 2.0;     ///< seconds
    double maximumDismissTimeInterval = 5.0;     ///< seconds
    QPointer<QWidget> containerView;             ///< where to show; without it `mainWindowContent` is asked
    std::function<QWidget*()> mainWindowContent; ///< the content of the application's main window; may give none
    std::function<void()> completionHandler;     ///< called once the overlay is gone

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void showForAWhile(const QString& text, ProgressHUDMode::Kind kind);
    QWidget* findContainer();
    void enter(QWidget* container);
    void leaveContainer();
    void updateIndicator();
    void removeIndicator();
    void updateStatus(const QString& status);
    void appear(bool animated);
    void fadeTo(double alpha, std::function<void()> finished);
    void finishHiding();
    void layoutBox();
    void mouseDown();
    void post(const char* event);

    ProgressHUDMode mode_ = ProgressHUDMode::indeterminate;
    ProgressHUDLook shown_; ///< the look of the last show
    ProgressHUDLayout layout_;
    QLabel* statusLabel_;
    ViewFader* fader_;
    std::unique_ptr<QWidget> windowController_;
    QPointer<QWidget> indicator_;
    QPointer<ProgressIndicatorLayer> progressIndicator_;
    QPointer<QObject> watchedWindow_; ///< tells of the clicks that go to what lies beneath
    bool useAnimation_ = true;
    double progress_ = 0;
    unsigned scheduled_ = 0; ///< requests scheduled under an earlier number are dropped
};

} // namespace parlowen
