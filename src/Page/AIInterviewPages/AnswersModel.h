#pragma once

#include <QAbstractListModel>
#include <QFont>
#include <memory>
#include <vector>

namespace parlowen {

class StreamModel;
class StreamingClient;

/// The answers asked for, oldest first, each with the text of it that is on screen.
class AnswersModel : public QAbstractListModel {
    Q_OBJECT
public:
    using QAbstractListModel::QAbstractListModel;

    int count() const { return static_cast<int>(answers_.size()); }
    std::vector<std::shared_ptr<StreamModel>> streamModels() const;
    /// The clients that carry the listed answers.
    std::vector<std::shared_ptr<StreamingClient>> clients() const;
    /// Whether this answer is the one listed at that row.
    bool isListed(int row, const std::shared_ptr<StreamModel>& model) const;

    void append(std::shared_ptr<StreamModel> model);
    /// Keeps the client with the last answer.
    void keepClient(std::shared_ptr<StreamingClient> client);
    void clear();
    /// Takes over what an answer's text has become.
    void refresh(int row);

    /// Size of all rows' font, in points. The view measures its rows anew by itself.
    void setFontSize(int size);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    struct Answer {
        std::shared_ptr<StreamModel> model;
        std::shared_ptr<StreamingClient> client;
        QString shown; ///< the model's own text grows on another thread while a row is measured and drawn
    };
    std::vector<Answer> answers_;
    QFont font_;
};

} // namespace parlowen
