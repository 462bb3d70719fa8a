#pragma once

#include "KeyFocusButton.h"

#include <QIcon>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace parlowen {

/// An option of several: its title in a frame, which is filled and bears a check mark while the option is selected. A
/// tap (a click, Space, or an arrow key from its neighbour in a group) selects nothing by itself. Main thread only.
class CustomButtonView : public KeyFocusButton {
    Q_OBJECT
public:
    explicit CustomButtonView(QWidget* parent);

    QString title() const { return text(); } ///< "Button" at first
    void setTitle(const QString& title) { setText(title); }
    void setImage(const QIcon& image); ///< the check mark; none at first

    bool isSelected() const { return isChecked(); }
    void setSelected(bool selected);

    std::function<void()> onTapAction;

    QSize sizeHint() const override;

protected:
    void nextCheckState() override {} // whoever hears of the tap decides
    void paintEvent(QPaintEvent* event) override;
};

/// Lets one of several buttons be selected. The buttons must live as long as it does, or be tapped no more.
class ExclusiveSelectionGroup : public std::enable_shared_from_this<ExclusiveSelectionGroup> {
public:
    std::function<void(const QString& title)> seletRowTapAction; ///< hears of each tap, after the change
    std::vector<CustomButtonView*> views;
    std::optional<qint64> initiallySelectedIndex;

    /// Takes over the taps of the buttons, siblings that share their parent with no other such group, so that the arrow
    /// keys stay within them. Selects the button of `initiallySelectedIndex`, where there is one.
    void attach(const std::vector<CustomButtonView*>& buttons);
    /// Selects the button alone, and tells of it.
    void select(CustomButtonView& button);

private:
    void showSelected(const CustomButtonView& button);
};

} // namespace parlowen
