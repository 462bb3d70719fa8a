#pragma once

#include "MeasuredList.h"

#include <QDeadlineTimer>

#include <optional>

class QPushButton;

namespace parlowen {

/// A list whose text can be read, marked and copied: with the mouse from character to character (a double click marks a
/// word, a triple click a row), with the keys from row to row. Rows may come and grow meanwhile: a mark leads a reader
/// who has scrolled back to them. Main thread only.
class ReadingList : public MeasuredList {
    Q_OBJECT
public:
    ReadingList(TextCell* cell, QWidget* parent);

    /// What is marked, the rows on lines of their own and without their numbers; empty when nothing is.
    QString markedText() const;
    /// Everything in the list, in the same form.
    QString wholeText() const;
    void unmark();

    /// Whether `copy` would copy anything.
    bool canCopy() const;
    /// Copies what is marked, else the row that the keys or the context menu are on.
    void copy();
    void copyAll();
    void selectAll() override;

    /// What an empty list says.
    void setPlaceholder(const QString& text);

    /// Takes the model's new font.
    void changeFont(const std::function<void()>& change, int nominalRowHeight);
    void setModel(QAbstractItemModel* model) override;

Q_SIGNALS:
    /// A context menu is asked for; with the keys, where the row is that they are on.
    void menuRequested(QPoint globalPosition);
    /// What a row can open was clicked, or Enter or Space pressed on the row.
    void disclosureRequested(int row);
    /// The list has the keyboard, and the user goes by keys.
    void focusShown(bool shown);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void placeChanged() override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void timerEvent(QTimerEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    int count() const { return model()->rowCount(); }
    QString rowText(int row) const;
    bool isOnDisclosure(QPoint point) const;
    QString textOf(const TextSelection& selection) const;
    TextPosition positionAt(QPoint point) const;
    TextPosition endOf(int row) const;
    void mark(TextPosition anchor, TextPosition cursor);
    void dragTo(QPoint point);
    void endDrag();
    bool isTripleClick(QPoint point) const;
    void offerMark() const;
    int readableHeight() const;
    void showFocus(bool shown);
    void drawCurrentRow();
    void drawPlaceholder();
    bool handleKey(const QKeyEvent& event);
    void stepRow(int way, bool marking);
    void scrollBy(int pixels);
    void bringIntoSight(int row);
    void setCurrentRow(int row);

    QString placeholder_;
    QPushButton* newer_; ///< while the reader is not at the end, where newer text is
    int unread_ = 0;     ///< rows that came meanwhile
    std::optional<TextSelection> selection_;
    bool dragging_ = false;
    bool showsFocus_ = false;
    QPoint dragPoint_;
    QBasicTimer dragScroll_; ///< while the pointer is held above or below the list
    QDeadlineTimer tripleClick_;
    QPoint doubleClickPoint_;
};

} // namespace parlowen
