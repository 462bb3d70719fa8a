#include "AiInterviewAiCellMac.h"

namespace parlowen {

TextCell::Content AiInterviewAiCellMac::content(const QModelIndex& index) const {
    Content content{QString::number(index.row() + 1) + u':', index.data(answerRole).toString(), {}};
    content.note = index.data(noteRole).toString();
    return content;
}

} // namespace parlowen
