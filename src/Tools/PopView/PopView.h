#pragma once

#include <QPointer>
#include <QWidget>

namespace parlowen {

class ViewFader;

/// Base of the pop-ups: a clear view over the whole of its container that holds one card and keeps clicks from what
/// lies beneath. It follows the container's size. Main thread only.
///
/// A card that has a parent when it is shown goes back to that parent, hidden, once the pop-up has gone, and may be
/// shown again; any other is deleted with the pop-up.
class PopView : public QWidget {
    Q_OBJECT
public:
    ~PopView() override;

    /// The card being shown; null once someone else has deleted it, which ends the pop-up.
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

    /// Where the card stands once it is shown.
    virtual QPoint restingPlace() const = 0;
    /// Begins what the card does while it goes, beside fading.
    virtual void leave() {}

    /// Puts the card in its place, fading in.
    void present();

    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void remove();

    QPointer<QWidget> contentView_;
    QPointer<QWidget> contentOwner_;
    QPointer<ViewFader> fader_;
    bool isDismissing_ = false;
};

} // namespace parlowen
