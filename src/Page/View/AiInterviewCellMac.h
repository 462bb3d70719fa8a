#pragma once

#include "TextCell.h"

namespace parlowen {

/// The transcript row's cell: the row's number in the accent colour, the source text and, where there is one, the
/// translation under it.
class AiInterviewCellMac : public TextCell {
    Q_OBJECT
public:
    using TextCell::TextCell;
    /// Gives the row's `KXTranslationHistoryDetailsModel`, `index` being the number to show, 0 for a row without one.
    static constexpr int modelRole = Qt::UserRole + 1;
    /// Gives true for the sentence in progress.
    static constexpr int unfinishedRole = Qt::UserRole + 2;

protected:
    Content content(const QModelIndex& index) const override;
};

} // namespace parlowen
