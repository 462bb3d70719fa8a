#include "SettingFields.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QAbstractItemView>
#include <QBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextLayout>
#include <QWheelEvent>

namespace parlowen {

namespace {

constexpr double fieldRadius = 12;
constexpr int chevronSize = 12;
constexpr int fieldInset = 12;
constexpr int choiceFont = 14;
constexpr int smallestChoiceFont = 12; // in one line, or in two
constexpr double tightLine = 1.2;      // of two in a field, in sizes of the font

QString popUpStyle() {
    return QStringLiteral(
               "QComboBox { background: %1; color: %2; border: 2px solid %1; border-radius: %3px; padding: 0 10px; }"
               "QComboBox:hover { background: %4; border-color: %4; } QComboBox:focus { border-color: %5; }"
               "QComboBox::drop-down { border: none; width: %8px; }"
               "QComboBox::down-arrow { image: none; }"
               "QComboBox QAbstractItemView { background: white; color: %2; border: 1px solid %6; outline: none;"
               " selection-background-color: %7; selection-color: %2; padding: 4px; }")
        .arg(hexColor(theme::field).name(), hexColor(theme::darkText).name())
        .arg(fieldRadius)
        .arg(hexColor(theme::field).darker(104).name(), hexColor(theme::accent).name())
        .arg(hexColor(theme::lightGrey).name(), hexColor(theme::secondary).name())
        .arg(2 * inPoints(chevronSize));
}

/// At the right end of a field, which is where it returns. Not by a style sheet, which would load the reader of
/// pictures for it before a window's first paint.
QRect drawChevron(QPainter& painter, const QWidget& field) {
    const int side = inPoints(chevronSize);
    const QRect place(field.width() - fieldInset - side, (field.height() - side) / 2, side, side);
    namedImage(QStringLiteral("chevron")).paint(&painter, place);
    return place;
}

} // namespace

QScrollArea* makeScrolling(QWidget& page, QWidget* content) {
    auto* area = new QScrollArea(&page);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);
    for (QScrollBar* bar : {area->verticalScrollBar(), area->horizontalScrollBar()})
        bar->setStyleSheet(styleSheets::lightScrollBar());
    area->setWidget(content);
    for (QWidget* ground : {area->viewport(), content})
        ground->setAutoFillBackground(false);
    return area;
}

void fillScrolling(QWidget& page, QWidget* content) {
    auto* whole = new QVBoxLayout(&page);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(makeScrolling(page, content));
}

PopUpButton::PopUpButton(const QString& accessibleName, const QStringList& items, QWidget* parent)
    : QComboBox(parent) {
    setAccessibleName(accessibleName);
    setAccessibleDescription(accessibleName); // a screen reader on Linux takes what is chosen for its name
    addItems(items);
    setFont(systemFont(13));
    view()->setFont(font());
    view()->setAccessibleName(accessibleName);
    setStyleSheet(popUpStyle());
    setFixedHeight(fieldSize().height());
    setMaximumWidth(fieldSize().width());
    setMinimumContentsLength(1);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFocusPolicy(Qt::StrongFocus); // the wheel alone does not give it the keyboard
    setCursor(Qt::PointingHandCursor);
}

QSize PopUpButton::fieldSize() { return QSize(160, 32) * fontScale(); }

void PopUpButton::paintEvent(QPaintEvent* event) {
    QComboBox::paintEvent(event);
    QPainter painter(this);
    drawChevron(painter, *this);
}

void PopUpButton::wheelEvent(QWheelEvent* event) {
    if (hasFocus())
        QComboBox::wheelEvent(event);
    else
        event->ignore();
}

void PopUpButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        showPopup(); // as Space does
    else
        QComboBox::keyPressEvent(event);
}

ChoiceBox::ChoiceBox(const QString& caption, QWidget* parent)
    : KeyFocusButton(parent)
    , caption_(caption) {
    setFont(systemFont(choiceFont));
    setFixedHeight(sizeHint().height());
    setMaximumWidth(sizeHint().width());
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    showChoice(tr("请选择语言"));
}

void ChoiceBox::showChoice(const QString& text) {
    setText(text);
    setToolTip(text);
    setAccessibleName(tr("%1：%2").arg(caption_, text));
}

void ChoiceBox::setMarked(bool marked) {
    marked_ = marked;
    update();
}

void ChoiceBox::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ground = hexColor(theme::field);
    painter.setBrush(underMouse() || isDown() ? ground.darker(104) : ground);
    painter.setPen(Qt::NoPen);
    if (hasFocus())
        painter.setPen(QPen(hexColor(theme::accent), 2));
    else if (marked_)
        painter.setPen(QPen(hexColor(theme::attention), 2));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), fieldRadius, fieldRadius);

    const QRect chevron = drawChevron(painter, *this);
    painter.setPen(palette::CSS::black());
    const int right = width() - chevron.left();
    const int left = fontMetrics().horizontalAdvance(text()) > width() - 2 * right ? fieldInset : right;
    drawChoice(painter, QRectF(rect()).adjusted(left, 0, -right, 0));
}

void ChoiceBox::drawChoice(QPainter& painter, const QRectF& room) const {
    QFont font = this->font();
    for (int size = choiceFont; size >= smallestChoiceFont; --size) {
        font = systemFont(size);
        if (QFontMetricsF(font).horizontalAdvance(text()) > room.width())
            continue;
        painter.setFont(font);
        painter.drawText(room, Qt::AlignCenter | Qt::TextSingleLine, text());
        return;
    }
    QTextLayout wrapped(text(), font);
    QTextOption middle(Qt::AlignHCenter);
    middle.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    wrapped.setTextOption(middle);
    wrapped.beginLayout();
    QTextLine first = wrapped.createLine();
    first.setLineWidth(room.width());
    wrapped.endLayout();
    const double line = font.pixelSize() * tightLine;
    const QString rest = text().mid(first.textLength());
    const QRectF upper(room.left(), room.center().y() - line, room.width(), line);
    painter.setFont(font);
    painter.drawText(upper, Qt::AlignCenter, text().left(first.textLength()).trimmed());
    painter.drawText(upper.translated(0, line), Qt::AlignCenter,
                     QFontMetricsF(font).elidedText(rest, Qt::ElideRight, room.width()));
}

} // namespace parlowen

#include "moc_SettingFields.cpp"
