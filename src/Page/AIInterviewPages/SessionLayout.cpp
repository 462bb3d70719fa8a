#include "SessionLayout.h"

#include <Tools/PopView/SystemFont.h>

#include <algorithm>
#include <cmath>

namespace parlowen {

namespace {

constexpr int side = 16;
constexpr int headerGap = 12; // between the header's parts
constexpr int pinSize = 26;
constexpr int pinFromRight = 50;
constexpr int narrowestStatus = 110;
constexpr int tipGap = 2;
constexpr int underTime = 11;
constexpr int gap = 23;
constexpr int bottom = 16;
constexpr QSize buttonSize(85, 35);
constexpr int buttonFromBoxBottom = 10;
constexpr int buttonFromPageRight = 23;

} // namespace

int SessionLayout::headerFor(int labelHeight, int tipHeight) {
    // The pin is in the header's middle.
    const int forTip = inPoints(pinSize) + 2 * (tipHeight + tipGap - side);
    return std::max({usualHeader, labelHeight, forTip});
}

QRect SessionLayout::tip(QSize size) const {
    return {pin.x() + (pin.width() - size.width()) / 2, pin.y() - tipGap - size.height(), size.width(), size.height()};
}

SessionLayout SessionLayout::of(QSize page, bool manual, const Header& parts) {
    const int header = parts.height;
    const int width = page.width() - 2 * side;
    const auto part = [&page](double share) { return static_cast<int>(std::lround(page.height() * share)); };
    SessionLayout layout;
    layout.timeLabel = QRect(side, side, parts.clockWidth, header);
    if (!parts.status.isEmpty()) {
        const int left = side + parts.clockWidth + headerGap;
        int room = (page.width() - parts.titleWidth) / 2 - headerGap - left;
        layout.hasTitle = room >= inPoints(narrowestStatus);
        if (!layout.hasTitle)
            room = page.width() - inPoints(pinFromRight + pinSize) - headerGap - left;
        const QSize size(std::min(parts.status.width(), room), parts.status.height());
        layout.status = QRect(QPoint(left, side + (header - size.height()) / 2), size);
    }
    layout.pin = QRect(page.width() - inPoints(pinFromRight + pinSize), side + (header - inPoints(pinSize)) / 2,
                       inPoints(pinSize), inPoints(pinSize));
    layout.transcript = QRect(side, side + header + underTime, width, part(manual ? 0.25 : 0.35));
    int top = layout.transcript.y() + layout.transcript.height() + gap;
    if (manual) {
        layout.questionBox = QRect(side, top, width, part(0.25));
        top += layout.questionBox.height();
        const QSize button = buttonSize.expandedTo(parts.answerButton);
        layout.answerButton = QRect(
            QPoint(page.width() - buttonFromPageRight - button.width(), top - buttonFromBoxBottom - button.height()),
            button);
        top += gap;
    }
    layout.answers = QRect(side, top, width, page.height() - bottom - top);
    return layout;
}

} // namespace parlowen
