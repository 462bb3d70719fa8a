#include "TextSelection.h"

#include <QStringList>
#include <QTextBoundaryFinder>

namespace parlowen {

std::pair<qsizetype, qsizetype> TextSelection::partOf(int row, qsizetype textLength) const {
    if (row < first().row || row > last().row)
        return {0, 0};
    const qsizetype from = row == first().row ? std::min(first().offset, textLength) : 0;
    const qsizetype to = row == last().row ? std::min(last().offset, textLength) : textLength;
    return {from, to};
}

QString TextSelection::textOf(int rows, const std::function<QString(int)>& rowText) const {
    QStringList parts;
    for (int row = first().row; row <= std::min(last().row, rows - 1); ++row) {
        const QString text = rowText(row);
        const auto [from, to] = partOf(row, text.size());
        parts << text.mid(from, to - from);
    }
    return parts.join(u'\n');
}

TextSelection TextSelection::wordAt(TextPosition position, const QString& text) {
    QTextBoundaryFinder words(QTextBoundaryFinder::Word, text);
    words.setPosition(position.offset);
    qsizetype from = position.offset;
    if (!words.isAtBoundary() || position.offset == text.size())
        from = std::max<qsizetype>(0, words.toPreviousBoundary());
    words.setPosition(from);
    const qsizetype to = words.toNextBoundary();
    return {{position.row, from}, {position.row, to < 0 ? text.size() : to}};
}

} // namespace parlowen
