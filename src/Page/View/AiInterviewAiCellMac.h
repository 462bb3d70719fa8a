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

protected:
    Content content(const QModelIndex& index) const override;
};

} // namespace parlowen
