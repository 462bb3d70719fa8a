#include "TextCell.h"

#include <Tools/PopView/Colors.h>

#include <QPainter>
#include <QTextLayout>
#include <QWidget>
#include <algorithm>
#include <cmath>

namespace parlowen {

namespace {

/// Space between two lines of a block: Chinese in a tight setting is tiring to read.
int lineGap(const QFont& font) { return std::max(1, font.pixelSize() / 5); }

/// Breaks the text into lines; returns the height of all.
int layOut(QTextLayout& layout, const QFont& font, int width) {
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    qreal height = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        if (height > 0)
            height += lineGap(font);
        line.setLineWidth(std::max(1, width));
        line.setPosition({0, height});
        height += line.height();
    }
    layout.endLayout();
    return static_cast<int>(std::ceil(height));
}

QString layoutText(QString text) { return text.replace(u'\n', QChar::LineSeparator); }

QFont fontOf(const QModelIndex& index) { return index.data(Qt::FontRole).value<QFont>(); }

} // namespace

int TextCell::measure(const QModelIndex& index, int width) const {
    ++measurements_;
    const QFont font = fontOf(index);
    const Content shown = content(index);
    int height = rowSpacing + shown.below;
    for (const Block& block : shown.blocks) {
        QTextLayout layout(layoutText(block.text), font);
        height += block.above + layOut(layout, font, width - 2 * sideInset);
    }
    return height;
}

int TextCell::nominalHeight(const QFont& font) {
    const Block block;
    const Content content;
    QTextLayout layout(QStringLiteral("1:"), font);
    return rowSpacing + block.above + layOut(layout, font, QWIDGETSIZE_MAX) + content.below;
}

QSize TextCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return {option.rect.width(), measure(index, option.rect.width())};
}

void TextCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const QFont font = fontOf(index);
    const QRect area = option.rect.adjusted(sideInset, rowSpacing / 2, -sideInset, 0);
    painter->save();
    painter->setPen(Qt::white);
    int y = area.top();
    for (const Block& block : content(index).blocks) {
        QTextLayout layout(layoutText(block.text), font);
        QTextLayout::FormatRange accent;
        accent.start = 0;
        accent.length = static_cast<int>(block.accented);
        accent.format.setForeground(hexColor(theme::accent));
        layout.setFormats({accent});
        y += block.above;
        const int height = layOut(layout, font, area.width());
        layout.draw(painter, QPointF(area.left(), y));
        y += height;
    }
    painter->restore();
}

} // namespace parlowen
