#pragma once

#include "TextBlock.h"
#include "TextSelection.h"

#include <QCache>
#include <QStyledItemDelegate>
#include <QWidget>
#include <optional>
#include <utility>
#include <vector>

namespace parlowen {

/// A cell of wrapped white text on a clear ground, its number hanging in front of it: a label and, where there is one,
/// a second label under it. The font comes from the model's font role. Heights are measured here and kept by the list,
/// so that painting and scrolling never measure; what was laid out last is kept too.
class TextCell : public QStyledItemDelegate {
    Q_OBJECT
public:
    explicit TextCell(QObject* parent = nullptr);
    ~TextCell() override;

    static constexpr int sideInset = 11;
    static constexpr int rowSpacing = 8; ///< between two rows; half of it belongs to each
    static constexpr int above = 4;      ///< from there to the first line

    struct Measured {
        int height;    ///< spacing included
        int unchanged; ///< of it from the top, what looks as it did when the row was measured last
    };
    /// The row at that width, measured anew.
    Measured measure(const QModelIndex& index, int width) const;
    /// The height of a row with one line of text in that font.
    static int nominalHeight(const QFont& font);
    /// How many rows have been measured so far.
    int measurements() const { return measurements_; }

    /// The row's text as it is marked and copied: without its number, the second label after a line feed.
    QString text(const QModelIndex& index) const;
    /// The offset in the row's text that is nearest to a point, which is relative to the row's corner.
    qsizetype offsetAt(const QModelIndex& index, int width, QPoint point) const;
    /// Whether a point, relative to the row's corner, is on what opens and closes under the row.
    bool isOnDisclosure(const QModelIndex& index, int width, QPoint point) const;
    /// What is drawn as marked from now on.
    void setSelection(const std::optional<TextSelection>& selection) { selection_ = selection; }

    /// Nothing outside this part of the list's view need be drawn.
    void setPaintedPart(const QRect& part) { paintedPart_ = part; }
    /// From this height of the list's view downwards nothing is drawn. True when that is a change.
    bool setReadableHeight(int height) { return std::exchange(readableHeight_, height) != height; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    struct Content {
        QString prefix; ///< stands before the source text, in the accent colour
        QString sourceLab;
        QString resultLab;         ///< empty: the label is hidden and takes no space
        bool isUnfinished = false; ///< shown paler, with "…" behind it
        QString note{};            ///< in the colour of problems under a row without a result, no part of its text
        QString disclosure{};      ///< in place of a note, in the accent colour: opens and closes with a click
    };
    virtual Content content(const QModelIndex& index) const = 0;

private:
    struct LaidOut;
    const LaidOut& laidOut(const QModelIndex& index, int width) const;

    mutable QCache<int, LaidOut> laidOut_;
    mutable int measurements_ = 0;
    int readableHeight_ = QWIDGETSIZE_MAX;
    QRect paintedPart_;
    std::optional<TextSelection> selection_;
};

/// The transcript row's cell: the row's number in the accent colour, the source text and, where there is one, the
/// translation under it.
class AiInterviewCellMac : public TextCell {
    Q_OBJECT
public:
    using TextCell::TextCell;
    /// Gives the row's `KXTranslationHistoryDetailsModel`, `index` being the number to show, 0 for a row without one.
    static constexpr int modelRole = Qt::UserRole + 1;
    /// Gives true for the sentence in progress.
    static constexpr int unfinishedRole = Qt::UserRole + 2;

protected:
    Content content(const QModelIndex& index) const override;
};

/// The answer row's cell: the row's number in the accent colour and the answer's text so far.
class AiInterviewAiCellMac : public TextCell {
    Q_OBJECT
public:
    using TextCell::TextCell;
    /// Gives the answer's text.
    static constexpr int answerRole = Qt::UserRole + 1;
    /// Gives what is said under the answer and is no part of it; empty for nothing.
    static constexpr int noteRole = Qt::UserRole + 2;
    /// Gives what can be opened under the answer, as it stands now; empty for nothing.
    static constexpr int groundsRole = Qt::UserRole + 3;

protected:
    Content content(const QModelIndex& index) const override;
};

} // namespace parlowen
