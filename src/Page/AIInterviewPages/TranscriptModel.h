#pragma once

#include <Network/KXTranslationHistoryDetailsModel.h>

#include <QAbstractListModel>
#include <QFont>
#include <deque>
#include <optional>
#include <vector>

namespace parlowen {

/// The transcript: the finished sentences, oldest first, then the one in progress when there is one. Between sentences
/// there may be marks, rows that say how much was not heard there; a mark is no sentence, and has no number.
class TranscriptModel : public QAbstractListModel {
    Q_OBJECT
public:
    using Row = KXTranslationHistoryDetailsModel;
    using QAbstractListModel::QAbstractListModel;

    /// Replaces the sentence in progress.
    void setCenterModel(const Row& row);
    /// Takes the sentence in progress away and appends the finished one, which stands in its place on screen.
    void finish(const Row& row);
    /// The finished sentence of that number, from 1, has got its translation.
    void translate(int number, const Row& row);
    /// Behind the finished sentences, so many seconds were not heard. A mark that stands there already grows.
    void markMissed(int seconds);

    /// Size of all rows' font, in points. The view measures its rows anew by itself.
    void setFontSize(int size);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    /// What a row shows: a finished sentence, or a mark where there are seconds.
    struct Shown {
        std::size_t sentence;
        int missedSeconds;
    };
    int shownRows() const { return static_cast<int>(shown_.size()); }
    Row record(int row) const;
    void append(const Shown& shown);
    void changed(int row);

    std::deque<Row> topArr_;
    std::vector<Shown> shown_; ///< every row but the sentence in progress
    std::optional<Row> centerModel_;
    int fontSize_ = 14;
    QFont font_;
};

} // namespace parlowen
