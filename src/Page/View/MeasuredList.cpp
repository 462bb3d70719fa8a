#include "MeasuredList.h"

#include <QHeaderView>
#include <QResizeEvent>
#include <QScrollBar>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int wheelStep = 20; // of three for each notch of the wheel, whatever the rows' heights

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

void MeasuredList::setNominalRowHeight(int height) { verticalHeader()->setDefaultSectionSize(height); }

int MeasuredList::contentHeight() const { return verticalHeader()->length(); }

bool MeasuredList::isNearBottom(int viewHeight) const {
    const int visibleEnd = verticalHeader()->offset() + viewHeight;
    return contentHeight() - visibleEnd < 2 * verticalHeader()->defaultSectionSize();
}

void MeasuredList::scrollToEnd() { verticalScrollBar()->setValue(verticalScrollBar()->maximum()); }

MeasuredList::Place MeasuredList::place(int viewHeight) const {
    const int row = rowAt(0);
    return {isNearBottom(viewHeight), row, row < 0 ? 0 : rowViewportPosition(row)};
}

void MeasuredList::restore(const Place& place) {
    executeDelayedItemsLayout();
    updateGeometries();
    if (place.atEnd)
        scrollToEnd();
    else if (place.row >= 0 && place.row < verticalHeader()->count())
        verticalScrollBar()->setValue(verticalHeader()->sectionPosition(place.row) -
                                      std::max(place.offset, 1 - rowHeight(place.row)));
}

void MeasuredList::keepPlace(const std::function<void()>& change) {
    const Place before = place(viewport()->height());
    change();
    restore(before);
}

void MeasuredList::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles) {
    QTableView::dataChanged(topLeft, bottomRight, roles);
    measureRows(topLeft.row(), bottomRight.row());
}

void MeasuredList::rowsInserted(const QModelIndex& parent, int start, int end) {
    QTableView::rowsInserted(parent, start, end);
    measureRows(start, end);
}

void MeasuredList::resizeEvent(QResizeEvent* event) {
    const Place before = place(event->oldSize().height());
    QTableView::resizeEvent(event);
    if (model() != nullptr && event->oldSize().width() != event->size().width())
        measureRows(0, model()->rowCount() - 1);
    restore(before);
}

void MeasuredList::measureRows(int first, int last) {
    for (int row = first; row <= last; ++row)
        verticalHeader()->resizeSection(row, cell_->measure(model()->index(row, 0), viewport()->width()));
}

} // namespace parlowen
