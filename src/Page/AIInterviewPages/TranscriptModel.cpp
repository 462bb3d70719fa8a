#include "TranscriptModel.h"

#include <Page/View/TextCell.h>
#include <Tools/PopView/SystemFont.h>

namespace parlowen {

void TranscriptModel::setFontSize(int size) {
    fontSize_ = size;
    font_ = systemFont(size);
}

void TranscriptModel::setCenterModel(const Row& row) {
    if (centerModel_) {
        centerModel_ = row;
        changed(shownRows());
        return;
    }
    beginInsertRows({}, shownRows(), shownRows());
    centerModel_ = row;
    endInsertRows();
}

void TranscriptModel::finish(const Row& row) {
    const Shown shown{topArr_.size(), 0};
    if (centerModel_) {
        centerModel_.reset();
        topArr_.push_back(row);
        shown_.push_back(shown);
        changed(shownRows() - 1);
        return;
    }
    topArr_.push_back(row);
    append(shown);
}

void TranscriptModel::translate(int number, const Row& row) {
    const auto sentence = static_cast<std::size_t>(number) - 1;
    if (sentence >= topArr_.size())
        return;
    topArr_[sentence] = row;
    for (int i = 0; i < shownRows(); ++i)
        if (const Shown& shown = shown_[static_cast<std::size_t>(i)];
            shown.missedSeconds == 0 && shown.sentence == sentence)
            changed(i);
}

void TranscriptModel::markMissed(int seconds) {
    if (shown_.empty() || shown_.back().missedSeconds == 0)
        return append({0, seconds});
    shown_.back().missedSeconds += seconds;
    changed(shownRows() - 1);
}

void TranscriptModel::append(const Shown& shown) {
    beginInsertRows({}, shownRows(), shownRows());
    shown_.push_back(shown);
    endInsertRows();
}

int TranscriptModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shownRows() + (centerModel_ ? 1 : 0);
}

/// What the row holds, with the number that it shows; a mark has none.
TranscriptModel::Row TranscriptModel::record(int row) const {
    Row record;
    if (row == shownRows()) {
        record = *centerModel_;
        record.index = static_cast<qint64>(topArr_.size()) + 1;
    } else if (const Shown& shown = shown_[static_cast<std::size_t>(row)]; shown.missedSeconds > 0) {
        record.sourceText = tr("… %1 s 未听到 …").arg(shown.missedSeconds);
    } else {
        record = topArr_[shown.sentence];
        record.index = static_cast<qint64>(shown.sentence) + 1;
    }
    record.font = fontSize_;
    return record;
}

QVariant TranscriptModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    if (role == Qt::FontRole)
        return font_;
    const Row row = record(index.row());
    switch (role) {
    case AiInterviewCellMac::modelRole:
        return QVariant::fromValue(row);
    case Qt::DisplayRole:
        return row.resultText.isEmpty() ? row.sourceText : row.sourceText + u'\n' + row.resultText;
    case Qt::AccessibleTextRole:
        return (row.index > 0 ? QString::number(row.index) + u':' : QString()) +
               index.data(Qt::DisplayRole).toString() + (index.row() < shownRows() ? QString() : tr("（识别中）"));
    case AiInterviewCellMac::unfinishedRole:
        return index.row() == shownRows();
    default:
        return {};
    }
}

void TranscriptModel::changed(int row) { Q_EMIT dataChanged(index(row), index(row)); }

} // namespace parlowen

#include "moc_TranscriptModel.cpp"
