#include "TranscriptModel.h"

#include <Page/View/AiInterviewCellMac.h>
#include <Tools/PopView/SystemFont.h>

namespace parlowen {

void TranscriptModel::setFontSize(int size) {
    fontSize_ = size;
    font_ = systemFont(size);
}

void TranscriptModel::setCenterModel(const Row& row) {
    const int last = static_cast<int>(topArr_.size());
    if (centerModel_) {
        centerModel_ = row;
        changed(last);
        return;
    }
    beginInsertRows({}, last, last);
    centerModel_ = row;
    endInsertRows();
}

void TranscriptModel::finish(const Row& row) {
    const int last = static_cast<int>(topArr_.size());
    if (centerModel_) {
        centerModel_.reset();
        topArr_.push_back(row);
        changed(last);
        return;
    }
    beginInsertRows({}, last, last);
    topArr_.push_back(row);
    endInsertRows();
}

int TranscriptModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(topArr_.size()) + (centerModel_ ? 1 : 0);
}

QVariant TranscriptModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const auto row = static_cast<std::size_t>(index.row());
    const Row& record = row < topArr_.size() ? topArr_[row] : *centerModel_;
    switch (role) {
    case AiInterviewCellMac::modelRole: {
        Row shown = record;
        shown.index = index.row() + 1;
        shown.font = fontSize_;
        return QVariant::fromValue(shown);
    }
    case Qt::DisplayRole:
        return record.resultText.isEmpty() ? record.sourceText : record.sourceText + u'\n' + record.resultText;
    case Qt::AccessibleTextRole:
        return QString::number(index.row() + 1) + u':' + index.data(Qt::DisplayRole).toString() +
               (row < topArr_.size() ? QString() : QStringLiteral("（识别中）"));
    case AiInterviewCellMac::unfinishedRole:
        return row >= topArr_.size();
    case Qt::FontRole:
        return font_;
    default:
        return {};
    }
}

void TranscriptModel::changed(int row) { Q_EMIT dataChanged(index(row), index(row)); }

} // namespace parlowen
