#include "AiInterviewCellMac.h"

#include "KXTranslationHistoryDetailsModel.h"

namespace parlowen {

TextCell::Content AiInterviewCellMac::content(const QModelIndex& index) const {
    const auto model = index.data(modelRole).value<KXTranslationHistoryDetailsModel>();
    const QString prefix = QString::number(model.index) + u':';
    Content shown{{{prefix + model.sourceText, prefix.size(), 4}}, 4};
    if (!model.resultText.isEmpty()) {
        shown.blocks.push_back({model.resultText, 0, 4});
        shown.below = 8;
    }
    return shown;
}

} // namespace parlowen
