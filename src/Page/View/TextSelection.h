#pragma once

#include <QString>
#include <QtGlobal>
#include <algorithm>
#include <compare>
#include <functional>
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
    std::pair<qsizetype, qsizetype> partOf(int row, qsizetype textLength) const;
    /// What is marked in a list of so many rows, the rows on lines of their own.
    QString textOf(int rows, const std::function<QString(int)>& rowText) const;
    /// The word at a place of the row's text.
    static TextSelection wordAt(TextPosition position, const QString& text);
};

} // namespace parlowen
