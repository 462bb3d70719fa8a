#include "ProgressHUDLook.h"

#include "Colors.h"
#include "ElidedLabel.h"

#include <algorithm>

namespace parlowen {

namespace {

constexpr int textSlack = 10; // the text frame is so much wider than its text

QSize textFrame(const QString& text, const QFont& font, int maxWidth) {
    if (text.isEmpty())
        return {0, 0};
    const QSize size = WrappedLabel::textSize(text, font, maxWidth);
    return {std::min(maxWidth, size.width() + textSlack), size.height()};
}

double shift(ProgressHUDPosition position, double height) {
    if (position == ProgressHUDPosition::center)
        return 0;
    return position == ProgressHUDPosition::bottom ? height / 5 : -height / 5;
}

/// A rectangle on whole points, so that its edges are sharp.
QRect centered(double x, double top, QSize size) { return {QPoint(qRound(x - size.width() / 2.0), qRound(top)), size}; }

} // namespace

ProgressHUDStyle ProgressHUDStyle::custom(const QColor& foreground, const QColor& backgroud) {
    return {foreground, backgroud};
}

ProgressHUDStyle ProgressHUDStyle::light() { return {palette::CSS::black(), palette::CSS::white()}; }

ProgressHUDStyle ProgressHUDStyle::dark() { return {QColor::fromRgbF(0.95F, 0.95F, 0.95F), palette::CSS::black()}; }

ProgressHUDMaskType ProgressHUDMaskType::custom(const QColor& color) { return {color, false}; }

ProgressHUDMaskType ProgressHUDMaskType::none() { return {{}, true}; }

ProgressHUDMaskType ProgressHUDMaskType::clear() { return {{}, false}; }

ProgressHUDMaskType ProgressHUDMaskType::black() { return {QColor::fromRgbF(0, 0, 0, 0.6F), false}; }

ProgressHUDMode ProgressHUDMode::custom(QWidget* view) {
    ProgressHUDMode mode(ownView);
    mode.view_ = view;
    return mode;
}

ProgressHUDLayout ProgressHUDLayout::of(QSize overlay, const Metrics& metrics, QSize indicator, const QString& text,
                                        const QFont& font) {
    const int maxWidth = std::max(1, static_cast<int>(overlay.width() - 4 * metrics.margin));
    const bool hasIndicator = indicator.height() > 0;
    const QSize head = hasIndicator ? QSize(std::min(maxWidth, indicator.width()), indicator.height()) : QSize(0, 0);
    const QSize label = textFrame(text, font, maxWidth);

    double content = head.height();
    if (hasIndicator)
        content += metrics.padding;
    content += label.height();
    if (hasIndicator && label.height() > 0)
        content += metrics.padding;
    const QSize size(qRound(2 * metrics.margin + std::max(head.width(), label.width())),
                     qRound(content + 2 * metrics.margin));

    const double middle = overlay.width() / 2.0;
    ProgressHUDLayout layout;
    layout.box =
        centered(middle, (overlay.height() - size.height()) / 2.0 + shift(metrics.position, overlay.height()), size);
    // An indicator alone has its padding half above and half below.
    const double headTop = layout.box.top() + metrics.margin + (label.isEmpty() ? metrics.padding / 2 : 0);
    if (hasIndicator)
        layout.indicator = centered(middle, headTop, head);
    if (!label.isEmpty())
        layout.text = centered(middle, layout.box.top() + size.height() - metrics.margin - label.height(), label);
    return layout;
}

} // namespace parlowen
