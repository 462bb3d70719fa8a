#pragma once

#include <Page/View/KXTranslationHistoryDetailsModel.h>

#include <QAbstractListModel>
#include <QFont>
#include <optional>
#include <vector>

namespace parlowen {

/// The transcript: the finished sentences, oldest first, then the one in progress when there is one.
class TranscriptModel : public QAbstractListModel {
    Q_OBJECT
public:
    using Row = KXTranslationHistoryDetailsModel;
    using QAbstractListModel::QAbstractListModel;

    const std::vector<Row>& topArr() const { return topArr_; }
    const std::optional<Row>& centerModel() const { return centerModel_; }

    /// Replaces the sentence in progress.
    void setCenterModel(const Row& row);
    /// Takes the sentence in progress away and appends the finished one, which stands in its place on screen.
    void finish(const Row& row);

    /// Size of all rows' font, in points. The view measures its rows anew by itself.
    void setFontSize(int size);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    void changed(int row);

    std::vector<Row> topArr_;
    std::optional<Row> centerModel_;
    int fontSize_ = 14;
    QFont font_;
};

} // namespace parlowen
