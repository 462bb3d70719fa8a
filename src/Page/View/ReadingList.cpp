#include "ReadingList.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QApplication>
#include <QClipboard>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStringList>
#include <QTimerEvent>

/// What is marked and copied. Mouse and keys are in ReadingListInput.cpp.
namespace parlowen {

namespace {

constexpr int newerFromBottom = 8;

} // namespace

ReadingList::ReadingList(TextCell* cell, QWidget* parent)
    : MeasuredList(cell, parent)
    , newer_(new QPushButton(this)) {
    setFocusPolicy(Qt::StrongFocus);
    setTabKeyNavigation(false);
    setAutoScroll(false);
    viewport()->setCursor(Qt::IBeamCursor);
    newer_->setObjectName(QStringLiteral("newer"));
    newer_->setFont(systemFont(12));
    newer_->setFocusPolicy(Qt::NoFocus); // the keys have End
    newer_->setCursor(Qt::PointingHandCursor);
    newer_->setToolTip(QStringLiteral("End"));
    newer_->setStyleSheet(styleSheets::darkPill());
    newer_->hide();
    connect(newer_, &QPushButton::clicked, this, &MeasuredList::scrollToEnd);
}

void ReadingList::setModel(QAbstractItemModel* model) {
    MeasuredList::setModel(model);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &ReadingList::unmark);
}

void ReadingList::setPlaceholder(const QString& text) {
    placeholder_ = text;
    setAccessibleDescription(text);
    viewport()->update();
}

void ReadingList::rowsInserted(const QModelIndex& parent, int start, int end) {
    MeasuredList::rowsInserted(parent, start, end);
    unread_ += end - start + 1;
}

void ReadingList::placeChanged() {
    if (isNearBottom()) {
        unread_ = 0;
        newer_->hide();
        return;
    }
    newer_->setText(unread_ == 0 ? QStringLiteral("↓ 最新内容") : QStringLiteral("↓ %1 条新内容").arg(unread_));
    const QSize size = newer_->sizeHint();
    newer_->setGeometry({QPoint((width() - size.width()) / 2, height() - size.height() - newerFromBottom), size});
    newer_->show();
    newer_->raise();
}

void ReadingList::changeFont(const std::function<void()>& change, int nominalRowHeight) {
    keepPlace([&] {
        change();
        setNominalRowHeight(nominalRowHeight);
        measureAll();
    });
}

QString ReadingList::rowText(int row) const { return cell().text(model()->index(row, 0)); }

QString ReadingList::textOf(const TextSelection& selection) const {
    QStringList parts;
    for (int row = selection.first().row; row <= std::min(selection.last().row, count() - 1); ++row) {
        const QString text = rowText(row);
        const auto [from, to] = selection.partOf(row, text.size());
        parts << text.mid(from, to - from);
    }
    return parts.join(u'\n');
}

QString ReadingList::markedText() const { return selection_ ? textOf(*selection_) : QString(); }

QString ReadingList::wholeText() const {
    return count() == 0 ? QString() : textOf({TextPosition(), endOf(count() - 1)});
}

TextPosition ReadingList::endOf(int row) const { return {row, rowText(row).size()}; }

void ReadingList::mark(TextPosition anchor, TextPosition cursor) {
    selection_ = TextSelection{anchor, cursor};
    cell().setSelection(selection_);
    viewport()->update();
}

void ReadingList::unmark() {
    selection_.reset();
    cell().setSelection(selection_);
    viewport()->update();
    endDrag();
}

void ReadingList::selectAll() {
    if (count() > 0)
        mark({}, endOf(count() - 1));
}

bool ReadingList::canCopy() const { return !markedText().isEmpty() || currentIndex().isValid(); }

void ReadingList::copy() {
    QString text = markedText();
    if (text.isEmpty() && currentIndex().isValid())
        text = rowText(currentIndex().row());
    if (!text.isEmpty())
        QApplication::clipboard()->setText(text);
}

void ReadingList::copyAll() { QApplication::clipboard()->setText(wholeText()); }

void ReadingList::showFocus(bool shown) {
    if (shown == showsFocus_)
        return;
    showsFocus_ = shown;
    viewport()->update();
    Q_EMIT focusShown(shown);
}

void ReadingList::paintEvent(QPaintEvent* event) {
    MeasuredList::paintEvent(event);
    if (count() == 0)
        drawPlaceholder();
    else if (showsFocus_ && currentIndex().isValid())
        drawCurrentRow();
}

void ReadingList::drawPlaceholder() {
    QPainter painter(viewport());
    painter.setFont(systemFont(13));
    painter.setPen(hexColor(theme::onDark, theme::title));
    painter.drawText(viewport()->rect().adjusted(TextCell::sideInset, 0, -TextCell::sideInset, 0),
                     Qt::AlignCenter | Qt::TextWordWrap, placeholder_);
}

/// The row that the keys are on.
void ReadingList::drawCurrentRow() {
    constexpr int bar = 3;
    const QRect row = visualRect(currentIndex());
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(hexColor(theme::accent));
    painter.drawRoundedRect(QRect(row.left() + 3, row.top() + 6, bar, row.height() - 12), bar / 2.0, bar / 2.0);
}

} // namespace parlowen
