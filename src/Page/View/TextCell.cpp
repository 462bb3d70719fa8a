#include "TextCell.h"

#include <Network/KXTranslationHistoryDetailsModel.h>
#include <Tools/PopView/Colors.h>

#include <QPainter>
#include <utility>

namespace parlowen {

namespace {

constexpr int between = 4;
constexpr int below = 4;
constexpr int belowResult = 8;
constexpr qsizetype keptCharacters = 20'000; // more than a large screen shows in the smallest font

} // namespace

/// The labels of a row, laid out. Places are relative to the row's corner.
struct TextCell::LaidOut {
    QFont font;
    int width; ///< of the row
    TextBlock source;
    std::optional<TextBlock> result; ///< under the source's text, not its number
    struct Look {
        bool isUnfinished = false;
        bool isNote = false;       ///< what stands under the source is a note, or can be opened and closed
        bool isDisclosure = false; ///< it can be
        bool operator==(const Look&) const = default;
    };
    std::optional<Look> look{}; ///< none before the first text
    int unchanged = 0;

    int resultLeft() const { return sideInset + qRound(source.indent()); }
    int sourceTop() const { return rowSpacing / 2 + above; }
    int resultTop() const { return sourceTop() + source.height() + between; }
    int height() const {
        return rowSpacing / 2 +
               (result ? resultTop() + result->height() + belowResult : sourceTop() + source.height() + below);
    }
    int unchangedHeight() const {
        if (source.unchangedHeight() < source.height())
            return sourceTop() + source.unchangedHeight();
        return result ? resultTop() + result->unchangedHeight() : height();
    }
};

TextCell::TextCell(QObject* parent)
    : QStyledItemDelegate(parent)
    , laidOut_(keptCharacters) {}

TextCell::~TextCell() = default;

const TextCell::LaidOut& TextCell::laidOut(const QModelIndex& index, int width) const {
    const auto font = index.data(Qt::FontRole).value<QFont>();
    const Content shown = content(index);
    const int room = width - 2 * sideInset;
    // It is put back with its new cost; the row that was asked for last is never the one that makes room.
    std::unique_ptr<LaidOut> kept(laidOut_.take(index.row()));
    if (!kept || kept->width != width || kept->source.prefix() != shown.prefix || kept->font != font)
        kept = std::make_unique<LaidOut>(LaidOut{font, width, TextBlock(shown.prefix, font, room), {}});
    const QString cue = shown.isUnfinished ? QStringLiteral(" …") : QString();
    const QString& note = shown.note.isEmpty() ? shown.disclosure : shown.note;
    const bool isNote = shown.resultLab.isEmpty() && !note.isEmpty();
    const LaidOut::Look look{shown.isUnfinished, isNote, isNote && shown.note.isEmpty()};
    const bool looksAlike = std::exchange(kept->look, look) == look;
    const QString& under = isNote ? note : shown.resultLab;
    kept->source.setText(shown.sourceLab, under.isEmpty() ? cue : QString());
    if (under.isEmpty())
        kept->result.reset();
    else if (!kept->result)
        kept->result.emplace(QString(), font, room - qRound(kept->source.indent()));
    if (kept->result)
        kept->result->setText(under, cue);
    kept->unchanged = looksAlike ? kept->unchangedHeight() : 0;
    const qsizetype cost = std::min(keptCharacters, 100 + shown.sourceLab.size() + under.size());
    laidOut_.insert(index.row(), kept.release(), cost);
    return *laidOut_.object(index.row());
}

TextCell::Measured TextCell::measure(const QModelIndex& index, int width) const {
    ++measurements_;
    const LaidOut& row = laidOut(index, width);
    return {row.height(), row.unchanged};
}

int TextCell::nominalHeight(const QFont& font) {
    LaidOut line{font, QWIDGETSIZE_MAX, TextBlock(QStringLiteral("1:"), font, QWIDGETSIZE_MAX), {}};
    line.source.setText({});
    return line.height();
}

QString TextCell::text(const QModelIndex& index) const {
    const Content shown = content(index);
    return shown.resultLab.isEmpty() ? shown.sourceLab : shown.sourceLab + u'\n' + shown.resultLab;
}

qsizetype TextCell::offsetAt(const QModelIndex& index, int width, QPoint point) const {
    const LaidOut& row = laidOut(index, width);
    if (!row.result || row.look->isNote || point.y() < row.resultTop())
        return row.source.offsetAt(point - QPoint(sideInset, row.sourceTop()));
    return row.source.textLength() + 1 + row.result->offsetAt(point - QPoint(row.resultLeft(), row.resultTop()));
}

bool TextCell::isOnDisclosure(const QModelIndex& index, int width, QPoint point) const {
    const LaidOut& row = laidOut(index, width);
    return row.look->isDisclosure && point.y() >= row.resultTop() && point.y() < row.resultTop() + row.result->height();
}

QSize TextCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return {option.rect.width(), measure(index, option.rect.width()).height};
}

void TextCell::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const LaidOut& row = laidOut(index, option.rect.width());
    const qsizetype sourceLength = row.source.textLength();
    const qsizetype length = sourceLength + (row.result && !row.look->isNote ? 1 + row.result->textLength() : 0);
    const auto [from, to] =
        selection_ ? selection_->partOf(index.row(), length) : std::pair<qsizetype, qsizetype>(0, 0);
    const QPointF corner = option.rect.topLeft() + QPoint(sideInset, 0);
    QRect clip = paintedPart_.isNull() ? option.rect : option.rect & paintedPart_;
    painter->save();
    if (clip.bottom() >= readableHeight_) {
        clip.setBottom(readableHeight_ - 1);
        painter->setClipRect(clip);
    }
    painter->setPen(hexColor(theme::onDark, row.look->isUnfinished ? theme::title : 1));
    row.source.draw(*painter, corner + QPointF(0, row.sourceTop()), clip, {from, std::min(to, sourceLength)});
    if (row.look->isNote)
        painter->setPen(hexColor(row.look->isDisclosure ? theme::accent : theme::problem));
    if (row.result)
        row.result->draw(*painter, option.rect.topLeft() + QPointF(row.resultLeft(), row.resultTop()), clip,
                         {from - sourceLength - 1, to - sourceLength - 1});
    painter->restore();
}

TextCell::Content AiInterviewCellMac::content(const QModelIndex& index) const {
    const auto model = index.data(modelRole).value<KXTranslationHistoryDetailsModel>();
    return {model.index > 0 ? QString::number(model.index) + u':' : QString(), model.sourceText, model.resultText,
            index.data(unfinishedRole).toBool()};
}

TextCell::Content AiInterviewAiCellMac::content(const QModelIndex& index) const {
    Content content{QString::number(index.row() + 1) + u':', index.data(answerRole).toString(), {}};
    content.note = index.data(noteRole).toString();
    content.disclosure = index.data(groundsRole).toString();
    return content;
}

} // namespace parlowen

#include "moc_TextCell.cpp"
