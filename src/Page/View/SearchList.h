#pragma once

#include <QWidget>
#include <functional>

class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStackedLayout;
class QStringListModel;

namespace parlowen {

/// A search field above a list of texts, the content of a picker. A click chooses a row, as does Enter for the marked
/// one, which the arrow keys move while the field keeps the keyboard. Who owns it decides which rows a search leaves.
/// It has a size of its own. Main thread only.
class SearchList : public QWidget {
    Q_OBJECT
public:
    /// What the empty field says, and what screen readers call the list.
    SearchList(const QString& placeholder, const QString& listName, QWidget* parent);

    std::function<void()> onSearch;           ///< the field's text has changed
    std::function<void(int row)> onSelection; ///< a row was chosen; the popover around the list closes after it
    std::function<void()> onRetry;            ///< the button beneath a notice was pressed

    /// The search text in lower case.
    QString query() const;
    /// Shows the rows, or the text in the place of none; the first one is marked while something is searched for.
    void showRows(const QStringList& rows, const QString& insteadOfNone);
    /// Shows a text in the rows' place, with a button to try again where that may help.
    void showNotice(const QString& text, bool canRetry);

    QLineEdit* searchField() const { return searchField_; }
    QListView* tableView() const { return tableView_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildSearchField(const QString& placeholder);
    void buildTable(const QString& listName);
    void moveMark(int rows);
    void choose(int row);

    QLineEdit* searchField_;
    QListView* tableView_;
    QStringListModel* rows_;
    QLabel* notice_;
    QPushButton* retry_;
    QStackedLayout* pages_;
};

} // namespace parlowen
