#pragma once

#include "TextCell.h"

#include <QBasicTimer>
#include <QTableView>
#include <functional>
#include <vector>

namespace parlowen {

/// A list of one column on a clear ground whose rows are as high as their text. A height is measured when its row comes
/// and when its row changes. When all rows change, with the width or the font, those in sight are measured at once and
/// the others while nothing else is to be done. Main thread only.
class MeasuredList : public QTableView {
    Q_OBJECT
public:
    /// The list owns the cell.
    MeasuredList(TextCell* cell, QWidget* parent);

    /// The height of a row of one line.
    void setNominalRowHeight(int height);

    /// Applies a change of the model and lays the list out at once. A list that was near its bottom then shows its end;
    /// any other keeps the row that the reader sees on top where it is.
    void keepPlace(const std::function<void()>& change);

    /// Whether less than two nominal rows lie under the visible part.
    bool isNearBottom() const { return isNearBottom(viewport()->height()); }
    void scrollToEnd();
    /// The height of all rows and of the room under them which lets a row stand whole on top when the end is shown.
    int contentHeight() const;
    /// Whether every row's height is that of its text.
    bool isMeasured() const { return stale_ == 0; }

    void setModel(QAbstractItemModel* model) override;

protected:
    TextCell& cell() const { return *cell_; }
    /// While held, a list near its bottom stays where it is too.
    void setHeld(bool held) { held_ = held; }
    /// Measures all rows anew.
    void measureAll();
    /// Another part of the rows is in sight, or other rows are.
    virtual void placeChanged() {}

    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles = {}) override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void updateGeometries() override;
    void timerEvent(QTimerEvent* event) override;

private:
    struct Place {
        bool atEnd;
        int row;    ///< the topmost row in sight; -1 for none
        int offset; ///< of its top from the top of the view
    };
    bool isNearBottom(int viewHeight) const;
    Place place(int viewHeight) const;
    int footerForWholeRow() const;
    void restore(const Place& place);
    void scrollTo(const Place& place);
    int measureRow(int row);
    void repaintRow(int row, int from);
    void measureInSight();
    void measureSomeMore();
    void forgetRows(int first, int last);

    TextCell* cell_;
    std::vector<bool> isStale_; ///< by row
    int stale_ = 0;
    int next_ = 0; ///< no row behind this one is stale
    bool held_ = false;
    bool measuring_ = false;
    bool placing_ = false;
    int footer_ = 0; ///< of the room under the last row
    QBasicTimer idle_;
};

} // namespace parlowen
