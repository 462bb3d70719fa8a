#pragma once

#include <QFont>
#include <QStyledItemDelegate>
#include <vector>

namespace parlowen {

/// A cell of wrapped white text on a clear ground, one block of text under the other. The font comes from the model's
/// font role. Heights are measured here and kept by the list, so that painting and scrolling never measure.
class TextCell : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static constexpr int sideInset = 11;
    static constexpr int rowSpacing = 8; ///< between two rows; half of it belongs to each

    /// The height of the row at that width, spacing included, measured anew.
    int measure(const QModelIndex& index, int width) const;
    /// The height of a row with one line of text in that font.
    static int nominalHeight(const QFont& font);
    /// How many rows have been measured so far.
    int measurements() const { return measurements_; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    struct Block {
        QString text;
        qsizetype accented = 0; ///< so many leading characters are in the accent colour
        int above = 4;          ///< space above the block
    };
    struct Content {
        std::vector<Block> blocks;
        int below = 4; ///< space under the last block
    };
    virtual Content content(const QModelIndex& index) const = 0;

private:
    mutable int measurements_ = 0;
};

} // namespace parlowen
