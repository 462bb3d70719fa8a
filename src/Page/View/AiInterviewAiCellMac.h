#pragma once

#include "TextCell.h"

namespace parlowen {

/// The answer row's cell: the row's number in the accent colour and the answer's text so far.
class AiInterviewAiCellMac : public TextCell {
    Q_OBJECT
public:
    using TextCell::TextCell;
    /// Gives the answer's text.
    static constexpr int answerRole = Qt::UserRole + 1;
    /// Gives what is said under the answer and is no part of it; empty for nothing.
    static constexpr int noteRole = Qt::UserRole + 2;

protected:
    Content content(const QModelIndex& index) const override;
};

} // namespace parlowen
