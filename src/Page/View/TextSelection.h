#pragma once

#include <QtGlobal>
#include <algorithm>
#include <compare>
#include <utility>

namespace parlowen {

/// A place between two characters of a list's texts.
struct TextPosition {
    int row = 0;
    qsizetype offset = 0; ///< in the row's text, its number not counted

    auto operator<=>(const TextPosition&) const = default; // NOLINT(modernize-use-nullptr): it is no pointer
};

/// What a reader has marked in a list: from where the marking began to where it stands. Rows and texts may grow under
/// it.
struct TextSelection {
    TextPosition anchor;
    TextPosition cursor;

    TextPosition first() const { return std::min(anchor, cursor); }
    TextPosition last() const { return std::max(anchor, cursor); }
    bool isEmpty() const { return anchor == cursor; }

    /// The marked part of a row's text as offsets [from, to); empty where nothing of the row is marked.
    std::pair<qsizetype, qsizetype> partOf(int row, qsizetype textLength) const {
        if (row < first().row || row > last().row)
            return {0, 0};
        const qsizetype from = row == first().row ? std::min(first().offset, textLength) : 0;
        const qsizetype to = row == last().row ? std::min(last().offset, textLength) : textLength;
        return {from, to};
    }
};

} // namespace parlowen
