#pragma once

#include <QPointer>
#include <QWidget>

class QPropertyAnimation;

namespace parlowen {

class ViewFader;

/// Base of the pop-ups: a clear view over the whole of its container that holds one card and keeps clicks from what
/// lies beneath. It follows the container's size, and where that is too small for the card, so does the card. Main
/// thread only.
///
/// It takes the keyboard focus, unless a part of the card has asked for it; Tab then stays within the card, Escape
/// dismisses, and the focus goes back to where it was. A card that has a parent when it is shown goes back to that
/// parent, hidden, once the pop-up has gone, and may be shown again; any other is deleted with the pop-up. A card is in
/// one pop-up at most: shown over its container again it stays as it is, and any other pop-up takes it over from the
/// one before.
class PopView : public QWidget {
    Q_OBJECT
public:
    ~PopView() override;

    /// The card being shown; null once someone else has deleted or shown it, which ends the pop-up.
    QWidget* contentView() const { return contentView_; }
    /// How opaque the card is, 0 to 1.
    double contentAlpha() const;
    /// Whether the pop-up is on its way out.
    bool isDismissing() const { return isDismissing_; }
    /// Takes the card away within `duration` seconds; then card and pop-up leave the container. Once is enough.
    void dismiss();

    static constexpr double duration = 0.25; ///< seconds of each animation

protected:
    /// Lays the pop-up with the card, in the card's own size, over the container.
    PopView(QWidget* content, QWidget* container);

    /// The pop-up that shows the card over the container now; null without one.
    static PopView* showing(const QWidget* content, const QWidget* container);

    /// Where the card stands once it is shown.
    virtual QPoint restingPlace() const = 0;
    /// Begins what the card does while it goes, beside fading.
    virtual void leave() {}

    /// Puts the card in its place, fading in.
    void present();

    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    void pressFocusedButton();
    static QWidget* ownerOf(QWidget* content);
    void fit();
    void letGo();
    void remove();
    void end();
    bool hasFocusInside() const;
    void takeFocus();
    void giveFocusBack();

    QPointer<QWidget> contentView_;
    QPointer<QWidget> contentOwner_;
    QPointer<ViewFader> fader_;
    QPointer<QWidget> focusBefore_;
    QSize ownSize_; ///< of the card, where there is room for it
    QSize fitted_;  ///< what it has been given
    bool isDismissing_ = false;
};

/// A card in the middle of its container, faded in and out.
class MYCenterPopView : public PopView {
    Q_OBJECT
public:
    /// Shows the card, in its own size, centred over the container.
    static MYCenterPopView* show(QWidget* content, QWidget* container);

    /// Whether clicks beside the card end here, without effect, as they do at first; otherwise they go to what lies
    /// beneath.
    bool enableGes() const { return enableGes_; }
    void setEnableGes(bool enabled);

protected:
    QPoint restingPlace() const override;
    void resizeEvent(QResizeEvent* event) override;

private:
    MYCenterPopView(QWidget* content, QWidget* container);
    void shape();

    bool enableGes_ = true;
};

/// Dismisses the centred pop-up of the key window, wherever in it, and of several the lowest; while no window is key,
/// of the one that `otherwise` is in. Does nothing without one, nor while the lowest is on its way out: a second click
/// on its button leaves those above alone.
void closeCurrentPopView(const QWidget* otherwise = nullptr);

/// A card at the bottom edge of its container that slides in and out. A click beside the card dismisses it.
class MYBottomPopView : public PopView {
    Q_OBJECT
public:
    /// Shows the card, in its own size, centred at the container's bottom edge.
    static MYBottomPopView* show(QWidget* content, QWidget* container);

    /// A click at this place of the pop-up: dismisses it unless the place lies within the card.
    void dismissOnBackgroundClick(QPoint location);

    bool enableGesture = true; ///< whether clicks beside the card count

protected:
    QPoint restingPlace() const override;
    void leave() override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    MYBottomPopView(QWidget* content, QWidget* container);
    QPoint hiddenPlace() const;
    bool isBeside(QPoint place) const;
    void slide(QPoint from, QPoint to);

    QPropertyAnimation* slide_;
    bool isPressedBeside_ = false; ///< whether the press that is going on began beside the card
};

} // namespace parlowen
