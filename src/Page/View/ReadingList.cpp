#include "ReadingList.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStringList>
#include <QTimerEvent>

namespace parlowen {

namespace {

constexpr int newerFromBottom = 6;
constexpr int dragScrollMilliseconds = 40;

} // namespace

ReadingList::ReadingList(TextCell* cell, QWidget* parent)
    : MeasuredList(cell, parent)
    , newer_(new QPushButton(this)) {
    setFocusPolicy(Qt::StrongFocus);
    setTabKeyNavigation(false);
    setAutoScroll(false);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setMouseTracking(true);
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
    const bool isBehind = !isNearBottom();
    if (isBehind) {
        newer_->setText(unread_ == 0 ? tr("↓ 最新内容") : tr("↓ %1 条新内容").arg(unread_));
        const QSize size = newer_->sizeHint();
        newer_->setGeometry({QPoint((width() - size.width()) / 2, height() - size.height() - newerFromBottom), size});
        newer_->raise();
    } else {
        unread_ = 0;
    }
    newer_->setVisible(isBehind);
    // The mark has a strip of its own: it must not cover words.
    if (cell().setReadableHeight(readableHeight()))
        viewport()->update();
}

int ReadingList::readableHeight() const {
    return newer_->isVisibleTo(this) ? newer_->y() - newerFromBottom : viewport()->height();
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
    return selection.textOf(count(), [this](int row) { return rowText(row); });
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

TextPosition ReadingList::positionAt(QPoint point) const {
    const int row = rowAt(point.y());
    if (row < 0)
        return point.y() < 0 || count() == 0 ? TextPosition() : endOf(count() - 1);
    const QPoint inRow(point.x(), point.y() - rowViewportPosition(row));
    return {row, cell().offsetAt(model()->index(row, 0), viewport()->width(), inRow)};
}

bool ReadingList::isOnDisclosure(QPoint point) const {
    const int row = rowAt(point.y());
    return row >= 0 && cell().isOnDisclosure(model()->index(row, 0), viewport()->width(),
                                             {point.x(), point.y() - rowViewportPosition(row)});
}

void ReadingList::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || count() == 0)
        return;
    endDrag();
    showFocus(false);
    const QPoint point = event->position().toPoint();
    if (isOnDisclosure(point)) {
        setCurrentRow(rowAt(point.y()));
        Q_EMIT disclosureRequested(currentIndex().row());
        return;
    }
    const TextPosition position = positionAt(point);
    const bool wholeRow = isTripleClick(point);
    tripleClick_ = QDeadlineTimer();
    setCurrentRow(position.row);
    if (wholeRow) {
        mark({position.row, 0}, endOf(position.row));
        offerMark();
        return;
    }
    mark(event->modifiers().testFlag(Qt::ShiftModifier) && selection_ ? selection_->anchor : position, position);
    dragging_ = true;
    setHeld(true);
}

bool ReadingList::isTripleClick(QPoint point) const {
    return !tripleClick_.hasExpired() &&
           (point - doubleClickPoint_).manhattanLength() < QApplication::startDragDistance();
}

void ReadingList::mouseMoveEvent(QMouseEvent* event) {
    if (!event->buttons().testFlag(Qt::LeftButton))
        endDrag();
    if (dragging_)
        dragTo(event->position().toPoint());
    else
        viewport()->setCursor(isOnDisclosure(event->position().toPoint()) ? Qt::PointingHandCursor : Qt::IBeamCursor);
}

void ReadingList::dragTo(QPoint point) {
    dragPoint_ = point;
    mark(selection_->anchor, positionAt({point.x(), std::clamp(point.y(), 0, viewport()->height() - 1)}));
    if (viewport()->rect().contains(0, point.y()))
        dragScroll_.stop();
    else if (!dragScroll_.isActive())
        dragScroll_.start(dragScrollMilliseconds, this);
}

void ReadingList::timerEvent(QTimerEvent* event) {
    if (event->timerId() != dragScroll_.timerId()) {
        MeasuredList::timerEvent(event);
        return;
    }
    // The further away the pointer is, the faster.
    const int beyond = dragPoint_.y() < 0 ? dragPoint_.y() : dragPoint_.y() - viewport()->height();
    scrollBy(beyond / 2 + (beyond < 0 ? -1 : 1));
    dragTo(dragPoint_);
}

void ReadingList::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        endDrag();
}

/// Not every drag ends with a release that comes here: a menu or another window may take it.
void ReadingList::endDrag() {
    if (!dragging_)
        return;
    dragging_ = false;
    setHeld(false);
    dragScroll_.stop();
    if (selection_ && selection_->isEmpty())
        unmark();
    offerMark();
}

/// To the middle mouse button, where there is such a thing.
void ReadingList::offerMark() const {
    QClipboard* clipboard = QApplication::clipboard();
    if (selection_ && clipboard->supportsSelection())
        clipboard->setText(markedText(), QClipboard::Selection);
}

void ReadingList::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || count() == 0)
        return;
    doubleClickPoint_ = event->position().toPoint();
    const TextPosition position = positionAt(doubleClickPoint_);
    const TextSelection word = TextSelection::wordAt(position, rowText(position.row));
    mark(word.anchor, word.cursor);
    offerMark();
    tripleClick_.setRemainingTime(QApplication::doubleClickInterval());
}

void ReadingList::contextMenuEvent(QContextMenuEvent* event) {
    endDrag();
    QPoint where = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const QRect row = visualRect(currentIndex()).intersected(viewport()->rect());
        where = viewport()->mapToGlobal(row.isEmpty() ? viewport()->rect().center() : row.center());
    } else {
        setCurrentRow(rowAt(viewport()->mapFromGlobal(where).y()));
    }
    Q_EMIT menuRequested(where);
}

void ReadingList::keyPressEvent(QKeyEvent* event) {
    event->setAccepted(handleKey(*event));
    const bool goes = event->key() != Qt::Key_Escape && !event->modifiers().testFlag(Qt::ControlModifier);
    if (event->isAccepted() && goes)
        showFocus(hasFocus());
}

bool ReadingList::handleKey(const QKeyEvent& event) {
    if (event.matches(QKeySequence::Copy))
        copy();
    else if (event.matches(QKeySequence::SelectAll))
        selectAll();
    else if (event.key() == Qt::Key_Escape && selection_)
        unmark();
    else if (event.key() == Qt::Key_Up || event.key() == Qt::Key_Down)
        stepRow(event.key() == Qt::Key_Up ? -1 : 1, event.modifiers().testFlag(Qt::ShiftModifier));
    else if (event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter || event.key() == Qt::Key_Space)
        Q_EMIT disclosureRequested(currentIndex().row());
    else if (event.key() == Qt::Key_PageUp || event.key() == Qt::Key_PageDown)
        scrollBy((event.key() == Qt::Key_PageUp ? -1 : 1) * viewport()->height() * 9 / 10);
    else if (event.key() == Qt::Key_Home)
        verticalScrollBar()->setValue(0);
    else if (event.key() == Qt::Key_End)
        scrollToEnd();
    else
        return false;
    return true;
}

/// A row that is higher than the view is read to its end before the next one comes.
void ReadingList::stepRow(int way, bool marking) {
    if (count() == 0)
        return;
    const int row = currentIndex().row();
    const QRect place = visualRect(currentIndex());
    const int hidden = way > 0 ? place.bottom() - readableHeight() + 1 : -place.top();
    const bool inSight = row >= 0 && place.intersects(viewport()->rect());
    const int step = 3 * verticalScrollBar()->singleStep();
    if (inSight && hidden > 0 && place.height() > readableHeight()) {
        scrollBy(way * std::min(step, hidden));
        return;
    }
    const int next =
        row < 0 ? std::max(0, rowAt(way > 0 ? 0 : readableHeight() - 1)) : std::clamp(row + way, 0, count() - 1);
    if (marking) {
        const int from = selection_ ? selection_->anchor.row : std::max(0, row);
        mark(next < from ? endOf(from) : TextPosition{from, 0}, next < from ? TextPosition{next, 0} : endOf(next));
    }
    setCurrentRow(next);
    bringIntoSight(next);
}

void ReadingList::bringIntoSight(int row) {
    const QRect place = visualRect(model()->index(row, 0));
    if (place.top() < 0 || place.height() > readableHeight())
        scrollBy(place.top());
    else if (place.bottom() >= readableHeight())
        scrollBy(place.bottom() - readableHeight() + 1);
}

void ReadingList::scrollBy(int pixels) { verticalScrollBar()->setValue(verticalScrollBar()->value() + pixels); }

void ReadingList::setCurrentRow(int row) {
    selectionModel()->setCurrentIndex(model()->index(row, 0), QItemSelectionModel::NoUpdate);
    viewport()->update();
}

// The base class would go to the first row.
void ReadingList::focusInEvent(QFocusEvent* event) {
    const bool byKeys = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    if (byKeys && !currentIndex().isValid() && count() > 0)
        setCurrentRow(isNearBottom() ? count() - 1 : std::max(0, rowAt(0)));
    showFocus(byKeys || (showsFocus_ && event->reason() == Qt::PopupFocusReason));
}

void ReadingList::focusOutEvent(QFocusEvent* event) {
    endDrag();
    if (event->reason() != Qt::PopupFocusReason)
        showFocus(false);
}

void ReadingList::hideEvent(QHideEvent* event) {
    endDrag();
    MeasuredList::hideEvent(event);
}

void ReadingList::changeEvent(QEvent* event) {
    if (!isEnabled())
        endDrag();
    MeasuredList::changeEvent(event);
}

} // namespace parlowen

#include "moc_ReadingList.cpp"
