#pragma once

#include "TextCell.h"

#include <QTableView>
#include <functional>

namespace parlowen {

/// A list of one column on a clear ground whose rows are as high as their text. Each height is measured when its row
/// comes, when its row changes and when the width changes, never in between. Main thread only.
class MeasuredList : public QTableView {
    Q_OBJECT
public:
    /// The list owns the cell. `nominalRowHeight` is the height of a row of one line.
    MeasuredList(TextCell* cell, QWidget* parent);

    void setNominalRowHeight(int height);

    /// Applies a change of the model and lays the list out at once. A list that was near its bottom then shows its end;
    /// any other keeps the row that the reader sees on top where it is.
    void keepPlace(const std::function<void()>& change);

    /// Whether less than two nominal rows lie under the visible part.
    bool isNearBottom() const { return isNearBottom(viewport()->height()); }
    void scrollToEnd();
    /// The height of all rows.
    int contentHeight() const;

protected:
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles = {}) override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Place {
        bool atEnd;
        int row;    ///< the topmost row in sight; -1 for none
        int offset; ///< of its top from the top of the view
    };
    bool isNearBottom(int viewHeight) const;
    Place place(int viewHeight) const;
    void restore(const Place& place);
    void measureRows(int first, int last);

    TextCell* cell_;
};

} // namespace parlowen
