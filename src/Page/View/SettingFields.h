#pragma once

#include "KeyFocusButton.h"

#include <QComboBox>

class QScrollArea;

namespace parlowen {

/// Lets the content, which the page takes over, scroll where the area that is returned is smaller. It has no place yet.
QScrollArea* makeScrolling(QWidget& page, QWidget* content);
/// The same, filling the page.
void fillScrolling(QWidget& page, QWidget* content);

/// A pop-up button for one choice of several, 160 × 32 at the usual font scale, or narrower where there is no room.
/// Space or Enter opens it. The wheel turns it only while it has the keyboard, so that a page can be scrolled across
/// it. Main thread only.
class PopUpButton : public QComboBox {
    Q_OBJECT
public:
    PopUpButton(const QString& accessibleName, const QStringList& items, QWidget* parent);

    int tag = 0; ///< tells a page's fields apart

    /// The size of the fields of a page.
    static QSize fieldSize();

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

/// A box of the same size that shows what was chosen and opens a picker on a click, Space or Enter. Main thread only.
class ChoiceBox : public KeyFocusButton {
    Q_OBJECT
public:
    ChoiceBox(const QString& caption, QWidget* parent);

    int tag = 0;

    /// Shows the text, in the middle; smaller where the room ends, then in two lines.
    void showChoice(const QString& text);
    /// Whether what is shown needs another look.
    void setMarked(bool marked);

    QSize sizeHint() const override { return PopUpButton::fieldSize(); }
    QSize minimumSizeHint() const override { return {fontMetrics().height(), sizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawChoice(QPainter& painter, const QRectF& room) const;

    const QString caption_;
    bool marked_ = false;
};

} // namespace parlowen
