#include "AnswersModel.h"

#include <Page/View/TextCell.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/StreamModel.h>

#include <utility>

namespace parlowen {

std::vector<std::shared_ptr<StreamModel>> AnswersModel::streamModels() const {
    std::vector<std::shared_ptr<StreamModel>> models;
    models.reserve(answers_.size());
    for (const Answer& answer : answers_)
        models.push_back(answer.model);
    return models;
}

std::vector<std::shared_ptr<StreamingClient>> AnswersModel::clients() const {
    std::vector<std::shared_ptr<StreamingClient>> clients;
    for (const Answer& answer : answers_) {
        if (answer.client)
            clients.push_back(answer.client);
    }
    return clients;
}

bool AnswersModel::isListed(int row, const std::shared_ptr<StreamModel>& model) const {
    return row >= 0 && row < count() && answers_[static_cast<std::size_t>(row)].model == model;
}

void AnswersModel::setFontSize(int size) { font_ = systemFont(size); }

void AnswersModel::append(std::shared_ptr<StreamModel> model) {
    beginInsertRows({}, count(), count());
    QString shown = model->responseText();
    answers_.push_back({std::move(model), nullptr, std::move(shown)});
    endInsertRows();
}

void AnswersModel::keepClient(std::shared_ptr<StreamingClient> client) { answers_.back().client = std::move(client); }

void AnswersModel::clear() {
    if (answers_.empty())
        return;
    beginRemoveRows({}, 0, count() - 1);
    answers_.clear();
    endRemoveRows();
}

void AnswersModel::refresh(int row) {
    Answer& answer = answers_[static_cast<std::size_t>(row)];
    answer.shown = answer.model->responseText();
    Q_EMIT dataChanged(index(row), index(row));
}

int AnswersModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : count(); }

QVariant AnswersModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    switch (role) {
    case AiInterviewAiCellMac::answerRole:
    case Qt::DisplayRole:
        return answers_[static_cast<std::size_t>(index.row())].shown;
    case Qt::AccessibleTextRole:
        return QString::number(index.row() + 1) + u':' + answers_[static_cast<std::size_t>(index.row())].shown;
    case Qt::FontRole:
        return font_;
    default:
        return {};
    }
}

} // namespace parlowen
