#pragma once

#include <Tools/StreamModel.h>

#include <QAbstractListModel>
#include <QFont>
#include <QStringList>
#include <deque>

namespace parlowen {

/// The answers as they are on screen, oldest first. Their numbers follow each other.
class AnswersModel : public QAbstractListModel {
    Q_OBJECT
public:
    using QAbstractListModel::QAbstractListModel;

    /// An answer is asked for under that number, which is the last one's plus 1.
    void append(int number);
    /// The answer of that number goes on with that piece; one that is not listed is passed over.
    void grow(int number, const QString& piece);
    /// The answer of that number has ended; where it failed, its row says why.
    void end(int number, const AnswerEnd& end);
    /// The answer of that number leans on these lines of the résumé: its row gets a mark that opens them.
    void ground(int number, const QStringList& lines);
    /// Opens or closes what the answer of that row leans on; nothing where it is not known.
    void toggleGrounds(int row);
    void clear();

    /// Size of all rows' font, in points. The view measures its rows anew by itself.
    void setFontSize(int size);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    struct Answer {
        QString text;
        QString note{}; ///< why it failed; no part of the answer
        QStringList grounds{};
        bool groundsShown = false;

        QString groundsText() const;
    };
    int count() const { return static_cast<int>(answers_.size()); }
    Answer* find(int number);
    void changed(int number);

    std::deque<Answer> answers_;
    int first_ = 1; ///< the number of the first row
    QFont font_;
};

} // namespace parlowen
