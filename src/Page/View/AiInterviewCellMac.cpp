#include "AiInterviewCellMac.h"

#include <Network/KXTranslationHistoryDetailsModel.h>

namespace parlowen {

TextCell::Content AiInterviewCellMac::content(const QModelIndex& index) const {
    const auto model = index.data(modelRole).value<KXTranslationHistoryDetailsModel>();
    return {model.index > 0 ? QString::number(model.index) + u':' : QString(), model.sourceText, model.resultText,
            index.data(unfinishedRole).toBool()};
}

} // namespace parlowen
