#include "AiInterviewAiCellMac.h"

namespace parlowen {

TextCell::Content AiInterviewAiCellMac::content(const QModelIndex& index) const {
    return {QString::number(index.row() + 1) + u':', index.data(answerRole).toString(), {}};
}

} // namespace parlowen
