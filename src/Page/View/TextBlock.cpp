#include "TextBlock.h"

#include <Tools/PopView/Colors.h>

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace parlowen {

namespace {

constexpr int linesThatMayChange = 2; // no word that grows, nor a comma that may not begin a line, reaches further back
constexpr int linesOfTheLast = 4;
constexpr double markOpacity = 0.4;
constexpr qsizetype never = std::numeric_limits<qsizetype>::max();

/// Space between two lines of a block: Chinese in a tight setting is tiring to read.
int lineGap(const QFont& font) { return std::max(1, font.pixelSize() / 5); }

/// None where it would leave the text too narrow.
double indentFor(const QString& prefix, const QFont& font, int width) {
    const double wanted = QFontMetricsF(font).horizontalAdvance(prefix);
    return wanted > width / 3.0 ? 0 : wanted;
}

/// How many characters two texts begin with alike. A text that only grows is compared at the speed of memory.
qsizetype sameFromStart(QStringView before, QStringView now) {
    if (now.startsWith(before))
        return before.size();
    return std::mismatch(before.begin(), before.end(), now.begin(), now.end()).first - before.begin();
}

QString asLines(QString text) { return text.replace(u'\n', QChar(QChar::LineSeparator)); }

/// Whether the order of a line's characters may depend on what stands in another line.
bool hasRightToLeft(QStringView text) {
    return std::ranges::any_of(text, [](QChar character) {
        const QChar::Direction direction = character.direction();
        return direction == QChar::DirR || direction == QChar::DirAL;
    });
}

} // namespace

/// Lines that stand together. The layout of a stretch that another follows holds a few lines more than are shown.
struct TextBlock::Stretch {
    std::unique_ptr<QTextLayout> layout;
    qsizetype start;     ///< in the full text
    qsizetype end;       ///< behind the lines that are shown
    qsizetype settledBy; ///< its lines stay as they are while the text up to here does
    int lines;           ///< that are shown
    double y;
    double height; ///< of the lines that are shown, with the gap before each but the block's first
};

TextBlock::TextBlock(QString prefix, const QFont& font, int width)
    : prefix_(std::move(prefix))
    , font_(font)
    , width_(std::max(1, width))
    , indent_(indentFor(prefix_, font_, width_))
    , full_(prefix_) {}

TextBlock::~TextBlock() = default;
TextBlock::TextBlock(TextBlock&&) noexcept = default;
TextBlock& TextBlock::operator=(TextBlock&&) noexcept = default;

void TextBlock::setText(const QString& text, const QString& cue) {
    const QStringView old = QStringView(full_).sliced(prefix_.size(), textLength());
    if (!stretches_.empty() && old == text && cue == cue_) {
        unchanged_ = height();
        return;
    }
    const qsizetype same = prefix_.size() + sameFromStart(old, text);
    full_.truncate(same);
    full_ += QStringView(text).sliced(same - prefix_.size());
    full_ += cue;
    cue_ = cue;
    // What stays of a text without any has none.
    const bool wasMixed = std::exchange(isMixed_, hasRightToLeft(QStringView(full_).sliced(isMixed_ ? 0 : same)));
    const qsizetype unchanged = isMixed_ != wasMixed ? 0 : same;
    while (!stretches_.empty() && stretches_.back().settledBy > unchanged)
        stretches_.pop_back();
    // A glyph may reach into the gap above its line.
    unchanged_ = std::max(0, height() - 1);
    layOutFrom(stretches_.empty() ? 0 : stretches_.back().end);
}

void TextBlock::layOutFrom(qsizetype start) {
    const double y = stretches_.empty() ? 0 : stretches_.back().y + stretches_.back().height;
    Stretch made{std::make_unique<QTextLayout>(asLines(full_.mid(start)), font_), start, full_.size(), never, 0, y, 0};
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(full_.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    made.layout->setTextOption(option);
    made.layout->setCacheEnabled(true); // each paint would shape the text anew
    if (start < prefix_.size()) {
        QTextLayout::FormatRange accent;
        accent.start = 0;
        accent.length = static_cast<int>(prefix_.size() - start);
        accent.format.setForeground(hexColor(theme::accent));
        made.layout->setFormats({accent});
    }
    made.layout->beginLayout();
    for (QTextLine line = made.layout->createLine(); line.isValid(); line = made.layout->createLine()) {
        if (start > 0 || made.lines > 0)
            made.height += lineGap(font_);
        placeLine(line, made.height, start == 0 && made.lines == 0);
        made.height += line.height();
        ++made.lines;
    }
    made.layout->endLayout();
    const bool isLong = made.lines > linesOfTheLast && !isMixed_;
    if (isLong)
        settleLines(made);
    stretches_.push_back(std::move(made));
    if (isLong)
        layOutFrom(stretches_.back().end);
}

/// The prefix is in the first line; from right to left it hangs on the other side.
void TextBlock::placeLine(QTextLine line, double y, bool isFirst) const {
    const double indent = isFirst ? 0 : indent_;
    line.setLineWidth(width_ - indent);
    line.setPosition({full_.isRightToLeft() ? 0 : indent, y});
}

/// Leaves the lines that may change to another stretch.
void TextBlock::settleLines(Stretch& last) const {
    last.lines -= linesThatMayChange;
    last.settledBy = full_.size();
    last.end = last.start + last.layout->lineAt(last.lines).textStart();
    const QTextLine shown = last.layout->lineAt(last.lines - 1);
    last.height = shown.y() + shown.height();
}

int TextBlock::height() const {
    return stretches_.empty() ? 0 : static_cast<int>(std::ceil(stretches_.back().y + stretches_.back().height));
}

void TextBlock::draw(QPainter& painter, QPointF at, const QRectF& clip, std::pair<qsizetype, qsizetype> marked) const {
    for (const Stretch& stretch : stretches_) {
        const QPointF corner = at + QPointF(0, stretch.y);
        if (corner.y() + stretch.height < clip.top() || corner.y() > clip.bottom())
            continue;
        for (int i = 0; i < stretch.lines; ++i) {
            const QTextLine line = stretch.layout->lineAt(i);
            const double top = corner.y() + line.y();
            if (top + line.height() < clip.top() || top > clip.bottom())
                continue;
            drawMark(painter, line, corner, stretch.start - prefix_.size(), marked);
            line.draw(&painter, corner);
        }
    }
}

void TextBlock::drawMark(QPainter& painter, const QTextLine& line, QPointF at, qsizetype textStart,
                         std::pair<qsizetype, qsizetype> marked) const {
    const qsizetype lineStart = textStart + line.textStart();
    const qsizetype from = std::max(marked.first, std::max<qsizetype>(lineStart, 0));
    const qsizetype to = std::min(marked.second, lineStart + line.textLength());
    if (from >= to)
        return;
    const double left = line.cursorToX(static_cast<int>(from - textStart));
    const double right = line.cursorToX(static_cast<int>(to - textStart));
    const QRectF mark(at.x() + std::min(left, right), at.y() + line.y(), std::abs(right - left), line.height());
    painter.fillRect(mark, hexColor(theme::accent, markOpacity));
}

qsizetype TextBlock::offsetAt(QPointF point) const {
    qsizetype found = 0;
    for (const Stretch& stretch : stretches_) {
        for (int i = 0; i < stretch.lines; ++i) {
            const QTextLine line = stretch.layout->lineAt(i);
            if (stretch.y + line.y() > point.y() && (i > 0 || stretch.start > 0))
                return found;
            found = std::clamp<qsizetype>(stretch.start + line.xToCursor(point.x()) - prefix_.size(), 0, textLength());
        }
    }
    return found;
}

} // namespace parlowen
