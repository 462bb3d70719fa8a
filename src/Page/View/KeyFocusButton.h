#pragma once

#include <QAbstractButton>

namespace parlowen {

/// Base of buttons that draw themselves: it knows whether to show that it has the keyboard, which is of use to whoever
/// moves with the keys, not after a click. Enter presses it, as Space does. Main thread only.
class KeyFocusButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit KeyFocusButton(QWidget* parent);

protected:
    bool showsFocus() const { return hasFocus() && byKeys_; }
    void focusInEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool byKeys_ = false; ///< how the focus came when it last came from another part of the window
};

} // namespace parlowen
