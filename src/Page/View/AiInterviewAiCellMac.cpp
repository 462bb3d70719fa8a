#include "AiInterviewAiCellMac.h"

namespace parlowen {

TextCell::Content AiInterviewAiCellMac::content(const QModelIndex& index) const {
    const QString prefix = QString::number(index.row() + 1) + u':';
    return {{{prefix + index.data(answerRole).toString(), prefix.size(), 4}}, 4};
}

} // namespace parlowen
