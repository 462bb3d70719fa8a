#include "AnswersModel.h"

#include <Foundation/ChosenLanguage.h>
#include <Page/View/TextCell.h>
#include <Tools/PopView/SystemFont.h>

namespace parlowen {

void AnswersModel::setFontSize(int size) { font_ = systemFont(size); }

AnswersModel::Answer* AnswersModel::find(int number) {
    const int row = number - first_;
    return row >= 0 && row < count() ? &answers_[static_cast<std::size_t>(row)] : nullptr;
}

void AnswersModel::changed(int number) { Q_EMIT dataChanged(index(number - first_), index(number - first_)); }

void AnswersModel::append(int number) {
    beginInsertRows({}, count(), count());
    if (answers_.empty())
        first_ = number;
    answers_.emplace_back();
    endInsertRows();
}

void AnswersModel::grow(int number, const QString& piece) {
    if (Answer* answer = find(number)) {
        answer->text += piece;
        changed(number);
    }
}

void AnswersModel::end(int number, const AnswerEnd& end) {
    Answer* answer = find(number);
    if (answer == nullptr || end.outcome != AnswerEnd::Outcome::Failed)
        return;
    answer->note = answerFailureText(end, windowLanguage());
    changed(number);
}

QString AnswersModel::Answer::groundsText() const {
    if (grounds.isEmpty())
        return {};
    if (!groundsShown)
        return tr("▸ 简历依据（%1）").arg(grounds.size());
    return tr("▾ 简历依据\n%1").arg(grounds.join(u'\n'));
}

void AnswersModel::ground(int number, const QStringList& lines) {
    if (Answer* answer = find(number)) {
        answer->grounds = lines;
        changed(number);
    }
}

void AnswersModel::toggleGrounds(int row) {
    Answer* answer = find(first_ + row);
    if (answer == nullptr || answer->grounds.isEmpty())
        return;
    answer->groundsShown = !answer->groundsShown;
    changed(first_ + row);
}

void AnswersModel::clear() {
    if (answers_.empty())
        return;
    beginRemoveRows({}, 0, count() - 1);
    answers_.clear();
    endRemoveRows();
}

int AnswersModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : count(); }

QVariant AnswersModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Answer& answer = answers_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case AiInterviewAiCellMac::answerRole:
    case Qt::DisplayRole:
        return answer.text;
    case AiInterviewAiCellMac::noteRole:
        return answer.note;
    case AiInterviewAiCellMac::groundsRole:
        return answer.groundsText();
    case Qt::AccessibleTextRole:
        return QString::number(index.row() + 1) + u':' + answer.text +
               (answer.note.isEmpty() ? QString() : u'（' + answer.note + u'）') +
               (answer.grounds.isEmpty() ? QString() : u'\n' + answer.groundsText());
    case Qt::FontRole:
        return font_;
    default:
        return {};
    }
}

} // namespace parlowen

#include "moc_AnswersModel.cpp"
