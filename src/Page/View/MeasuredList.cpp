#include "MeasuredList.h"

#include <QAccessible>
#include <QDeadlineTimer>
#include <QHeaderView>
#include <QPaintEvent>
#include <QResizeEvent>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTimerEvent>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int wheelStep = 20; // at least; three for each notch of the wheel, whatever the rows' heights
constexpr int sliceMilliseconds = 3;

} // namespace

MeasuredList::MeasuredList(TextCell* cell, QWidget* parent)
    : QTableView(parent)
    , cell_(cell) {
    cell_->setParent(this);
    setItemDelegate(cell_);
    setFrameShape(QFrame::NoFrame);
    setShowGrid(false);
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setFocusPolicy(Qt::NoFocus);
    viewport()->setAutoFillBackground(false);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setSingleStep(wheelStep);
    horizontalHeader()->hide();
    horizontalHeader()->setMinimumSectionSize(0);
    horizontalHeader()->setStretchLastSection(true);
    verticalHeader()->hide();
    verticalHeader()->setMinimumSectionSize(1);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
}

void MeasuredList::setModel(QAbstractItemModel* model) {
    QTableView::setModel(model);
    isStale_.assign(static_cast<std::size_t>(model->rowCount()), false);
    connect(model, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex&, int first, int last) { forgetRows(first, last); });
    measureAll();
}

void MeasuredList::setNominalRowHeight(int height) {
    verticalHeader()->setDefaultSectionSize(height);
    // One notch leaves the end: what is still near it follows the next word, and would never get away.
    verticalScrollBar()->setSingleStep(std::max(wheelStep, (2 * height + 2) / 3));
}

int MeasuredList::contentHeight() const { return verticalHeader()->length() + footer_; }

/// A last row that is higher than the view shows its end.
int MeasuredList::footerForWholeRow() const {
    const int top = verticalHeader()->length() - viewport()->height();
    const int row = top <= 0 ? -1 : verticalHeader()->visualIndexAt(top - verticalHeader()->offset());
    if (row < 0 || row == verticalHeader()->count() - 1)
        return 0;
    const int start = verticalHeader()->sectionPosition(row);
    const bool isWhole = top - start <= TextCell::rowSpacing / 2 + TextCell::above; // to the eye
    return isWhole ? 0 : start + rowHeight(row) - top;
}

// The base class ends the range with the last row. It must not scroll there and back, and paint everything for it.
void MeasuredList::updateGeometries() {
    QScrollBar& bar = *verticalScrollBar();
    const int value = bar.value();
    {
        const QSignalBlocker blocker(bar);
        QTableView::updateGeometries();
        footer_ = footerForWholeRow();
        bar.setMaximum(bar.maximum() + footer_);
        bar.setValue(value);
        verticalHeader()->setOffset(bar.value());
    }
    if (bar.value() != value)
        Q_EMIT bar.valueChanged(bar.value());
}

bool MeasuredList::isNearBottom(int viewHeight) const {
    const int visibleEnd = verticalHeader()->offset() + viewHeight;
    return contentHeight() - visibleEnd < 2 * verticalHeader()->defaultSectionSize();
}

void MeasuredList::scrollToEnd() { verticalScrollBar()->setValue(verticalScrollBar()->maximum()); }

MeasuredList::Place MeasuredList::place(int viewHeight) const {
    const int row = rowAt(0);
    return {!held_ && isNearBottom(viewHeight), row, row < 0 ? 0 : rowViewportPosition(row)};
}

void MeasuredList::restore(const Place& place) {
    executeDelayedItemsLayout();
    scrollTo(place);
    // Rows that come into sight here may have to be measured, and others may then be in sight.
    while (stale_ > 0) {
        const int before = stale_;
        measureInSight();
        if (stale_ == before)
            return;
        scrollTo(place);
    }
}

void MeasuredList::scrollTo(const Place& place) {
    const QScopedValueRollback guard(measuring_, true);
    updateGeometries();
    if (place.atEnd)
        scrollToEnd();
    else if (place.row >= 0 && place.row < verticalHeader()->count())
        verticalScrollBar()->setValue(verticalHeader()->sectionPosition(place.row) -
                                      std::max(place.offset, 1 - rowHeight(place.row)));
}

void MeasuredList::keepPlace(const std::function<void()>& change) {
    {
        const QScopedValueRollback guard(placing_, true);
        const Place before = place(viewport()->height());
        change();
        restore(before);
    }
    if (!placing_)
        placeChanged();
}

// The base class would paint the whole row, and a long answer grows by a word at a time.
void MeasuredList::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                               const QList<int>& /*roles*/) {
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row)
        repaintRow(row, measureRow(row));
    if (!QAccessible::isActive())
        return;
    QAccessibleTableModelChangeEvent change(this, QAccessibleTableModelChangeEvent::DataChanged);
    change.setFirstRow(topLeft.row());
    change.setLastRow(bottomRight.row());
    change.setFirstColumn(topLeft.column());
    change.setLastColumn(bottomRight.column());
    QAccessible::updateAccessibility(&change);
}

/// From that height of the row downwards.
void MeasuredList::repaintRow(int row, int from) {
    viewport()->update(0, rowViewportPosition(row) + from, viewport()->width(), rowHeight(row) - from);
}

void MeasuredList::paintEvent(QPaintEvent* event) {
    cell_->setPaintedPart(event->rect());
    QTableView::paintEvent(event);
    cell_->setPaintedPart({});
}

void MeasuredList::rowsInserted(const QModelIndex& parent, int start, int end) {
    QTableView::rowsInserted(parent, start, end);
    isStale_.insert(isStale_.begin() + start, static_cast<std::size_t>(end - start) + 1, false);
    for (int row = start; row <= end; ++row)
        measureRow(row);
}

void MeasuredList::forgetRows(int first, int last) {
    isStale_.erase(isStale_.begin() + first, isStale_.begin() + last + 1);
    stale_ = static_cast<int>(std::ranges::count(isStale_, true));
    next_ = std::min(next_, static_cast<int>(isStale_.size()) - 1);
}

void MeasuredList::resizeEvent(QResizeEvent* event) {
    const Place before = place(event->oldSize().height());
    QTableView::resizeEvent(event);
    if (model() != nullptr && event->oldSize().width() != event->size().width())
        measureAll();
    restore(before);
    placeChanged();
}

void MeasuredList::measureAll() {
    std::fill(isStale_.begin(), isStale_.end(), true);
    stale_ = static_cast<int>(isStale_.size());
    next_ = stale_ - 1;
    if (stale_ > 0)
        idle_.start(0, this);
}

/// How much of it, from its top, looks as before.
int MeasuredList::measureRow(int row) {
    const TextCell::Measured measured = cell_->measure(model()->index(row, 0), viewport()->width());
    verticalHeader()->resizeSection(row, measured.height);
    if (isStale_[static_cast<std::size_t>(row)]) {
        isStale_[static_cast<std::size_t>(row)] = false;
        --stale_;
    }
    return measured.unchanged;
}

void MeasuredList::measureInSight() {
    for (int row = std::max(0, rowAt(0)); row < static_cast<int>(isStale_.size()); ++row) {
        if (rowViewportPosition(row) >= viewport()->height())
            return;
        if (isStale_[static_cast<std::size_t>(row)])
            measureRow(row);
    }
}

/// Newest first: that is where a reader looks next.
void MeasuredList::measureSomeMore() {
    const QDeadlineTimer end(sliceMilliseconds);
    keepPlace([&] {
        for (; next_ >= 0 && !end.hasExpired(); --next_) {
            if (isStale_[static_cast<std::size_t>(next_)])
                measureRow(next_);
        }
    });
    if (stale_ == 0)
        idle_.stop();
}

void MeasuredList::timerEvent(QTimerEvent* event) {
    if (event->timerId() == idle_.timerId())
        measureSomeMore();
    else
        QTableView::timerEvent(event);
}

void MeasuredList::scrollContentsBy(int dx, int dy) {
    QTableView::scrollContentsBy(dx, dy);
    if (!placing_)
        placeChanged();
    if (stale_ == 0 || measuring_)
        return;
    const QScopedValueRollback guard(measuring_, true);
    const Place now = place(viewport()->height());
    measureInSight();
    restore(now);
}

} // namespace parlowen

#include "moc_MeasuredList.cpp"
