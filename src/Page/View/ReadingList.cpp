#include "ReadingList.h"

#include <Tools/PopView/Colors.h>

#include <QApplication>
#include <QClipboard>
#include <QPainter>
#include <QScrollBar>
#include <QStringList>
#include <QTimerEvent>

/// What is marked and copied. Mouse and keys are in ReadingListInput.cpp.
namespace parlowen {

ReadingList::ReadingList(TextCell* cell, QWidget* parent)
    : MeasuredList(cell, parent) {
    setFocusPolicy(Qt::StrongFocus);
    setTabKeyNavigation(false);
    setAutoScroll(false);
    viewport()->setCursor(Qt::IBeamCursor);
}

void ReadingList::setModel(QAbstractItemModel* model) {
    MeasuredList::setModel(model);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &ReadingList::unmark);
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
    if (!showsFocus_ || !currentIndex().isValid())
        return;
    // The row that the keys are on.
    constexpr int bar = 3;
    const QRect row = visualRect(currentIndex());
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(hexColor(theme::accent));
    painter.drawRoundedRect(QRect(row.left() + 3, row.top() + 6, bar, row.height() - 12), bar / 2.0, bar / 2.0);
}

} // namespace parlowen
