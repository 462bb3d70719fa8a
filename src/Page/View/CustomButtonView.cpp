#include "CustomButtonView.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QPainter>
#include <QSignalBlocker>

namespace parlowen {

namespace {

constexpr double optionRadius = 8;
constexpr int markSize = 13; // at the usual font scale
constexpr int markInset = 2;
constexpr int textInset = 14;
const QColor selectedFill(214, 242, 236);

} // namespace

CustomButtonView::CustomButtonView(QWidget* parent)
    : KeyFocusButton(parent) {
    setText(QStringLiteral("Button"));
    setFont(systemFont(14));
    setCheckable(true);
    const auto tapped = [this] {
        if (onTapAction)
            onTapAction();
    };
    connect(this, &QAbstractButton::clicked, this, tapped);
    connect(this, &QAbstractButton::toggled, this, [tapped](bool on) { // as assistive technology chooses
        if (on)
            tapped();
    });
}

void CustomButtonView::setSelected(bool selected) {
    const QSignalBlocker shownAlone(this);
    setChecked(selected);
}

void CustomButtonView::setImage(const QIcon& image) {
    setIcon(image);
    update();
}

QSize CustomButtonView::sizeHint() const {
    const QSize usual = QSize(100, 42) * fontScale();
    return usual.expandedTo({fontMetrics().horizontalAdvance(title()) + 2 * inPoints(textInset), 0});
}

void CustomButtonView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isSelected()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(selectedFill);
        painter.drawRoundedRect(rect(), optionRadius, optionRadius);
        const int side = static_cast<int>(markSize * fontScale());
        icon().paint(&painter, {width() - side - markInset, height() - side - markInset, side, side});
    } else {
        painter.setPen(QPen(underMouse() ? hexColor(theme::link) : QColor(Qt::gray), 1));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), optionRadius, optionRadius);
    }
    if (showsFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(hexColor(theme::link), 2));
        painter.drawRoundedRect(rect().adjusted(1, 1, -1, -1), optionRadius, optionRadius);
    }
    painter.setPen(isEnabled() ? QColor(Qt::black) : hexColor(theme::lightGrey));
    painter.drawText(rect(), Qt::AlignCenter, title());
}

void ExclusiveSelectionGroup::attach(const std::vector<CustomButtonView*>& buttons) {
    views = buttons;
    if (initiallySelectedIndex && *initiallySelectedIndex >= 0 &&
        *initiallySelectedIndex < static_cast<qint64>(views.size()))
        showSelected(*views.at(static_cast<std::size_t>(*initiallySelectedIndex)));
    for (CustomButtonView* button : views) {
        button->setAutoExclusive(true);
        button->onTapAction = [group = weak_from_this(), button] {
            if (const auto alive = group.lock())
                alive->select(*button);
        };
    }
}

void ExclusiveSelectionGroup::select(CustomButtonView& button) {
    showSelected(button);
    if (seletRowTapAction)
        seletRowTapAction(button.title());
}

/// Tab comes to it as well, though another may have had the keyboard last.
void ExclusiveSelectionGroup::showSelected(const CustomButtonView& button) {
    for (CustomButtonView* each : views) {
        each->setSelected(each == &button);
        each->setFocusPolicy(each == &button ? Qt::StrongFocus : Qt::ClickFocus);
    }
}

} // namespace parlowen

#include "moc_CustomButtonView.cpp"
