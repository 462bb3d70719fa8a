#pragma once

#include <QColor>
#include <QFont>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <memory>
#include <utility>
#include <vector>

class QPainter;
class QTextLayout;
class QTextLine;

namespace parlowen {

/// A wrapped text in one font and width, laid out in stretches of lines, with a prefix that hangs in front of them.
/// When the text changes, only what follows the last lines that stay is laid out anew: a word that is added to a long
/// text costs a few lines. Main thread only.
class TextBlock {
public:
    /// The prefix stands before the text, in the accent colour; further lines begin where the text does.
    TextBlock(QString prefix, const QFont& font, int width);
    ~TextBlock();
    TextBlock(TextBlock&&) noexcept;
    TextBlock& operator=(TextBlock&&) noexcept;

    const QString& prefix() const { return prefix_; }
    qsizetype textLength() const { return full_.size() - prefix_.size() - cue_.size(); }
    /// The cue stands behind the text and is no part of it.
    void setText(const QString& text, const QString& cue = {});
    /// How far the text is indented for its prefix.
    double indent() const { return indent_; }

    /// Of all lines and the gaps between them.
    int height() const;
    /// Of the lines from the top that the last text left as they were; all of it where the text was the same.
    int unchangedHeight() const { return unchanged_; }
    /// Draws the lines that meet the clip; `at` is the block's upper left corner. The part [from, to) of the text is
    /// marked.
    void draw(QPainter& painter, QPointF at, const QRectF& clip, std::pair<qsizetype, qsizetype> marked) const;
    /// The offset in the text that is nearest to a point, which is relative to the block's corner.
    qsizetype offsetAt(QPointF point) const;

private:
    struct Stretch;
    void layOutFrom(qsizetype start);
    void placeLine(QTextLine line, double y, bool isFirst) const;
    void settleLines(Stretch& last) const;
    void drawMark(QPainter& painter, const QTextLine& line, QPointF at, qsizetype textStart,
                  std::pair<qsizetype, qsizetype> marked) const;

    QString prefix_;
    QFont font_;
    int width_;
    double indent_;
    QString cue_;
    QString full_; ///< prefix, text and cue
    int unchanged_ = 0;
    bool isMixed_ = false; ///< has text that runs from right to left; it is then one stretch
    std::vector<Stretch> stretches_;
};

} // namespace parlowen
