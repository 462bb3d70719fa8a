#include "SearchList.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPointer>
#include <QPushButton>
#include <QStackedLayout>
#include <QStringListModel>
#include <QToolTip>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int listInset = 10;
constexpr int searchHeight = 30;
constexpr int listRowHeight = 30;
constexpr QSize rowsSize(200, 280);

QString rowsStyle() {
    return QStringLiteral("QListView { background: transparent; border: none; outline: none; color: %1; }"
                          "QListView::item { height: %2px; padding: 0 6px; border-radius: 5px; }"
                          "QListView::item:hover { background: %3; }"
                          "QListView::item:selected { background: %4; color: %1; }")
               .arg(hexColor(theme::darkText).name())
               .arg(static_cast<int>(listRowHeight * fontScale()))
               .arg(hexColor(theme::pale).name(), hexColor(theme::secondary).name()) +
           styleSheets::lightScrollBar();
}

QString searchStyle() {
    return QStringLiteral("QLineEdit { background: %1; border: 1px solid %1; border-radius: 6px; padding: 0 6px; }"
                          "QLineEdit:focus { border-color: %2; }")
        .arg(hexColor(theme::pale).name(), hexColor(theme::cardBorder).name());
}

} // namespace

SearchList::SearchList(const QString& placeholder, const QString& listName, QWidget* parent)
    : QWidget(parent)
    , searchField_(new QLineEdit(this))
    , tableView_(new QListView(this))
    , rows_(new QStringListModel(this))
    , notice_(makeLabel(hexColor(theme::midGrey), false, 13, this))
    , retry_(makeCardButton(tr("重试"), hexColor(theme::darkText), hexColor(theme::secondary), this))
    , pages_(new QStackedLayout) {
    setPalette(lightPalette(Qt::white));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(listInset, listInset, listInset, listInset);
    layout->setSpacing(listInset);
    buildSearchField(placeholder);
    layout->addWidget(searchField_);
    setAccessibleName(listName);
    buildTable(listName);
    layout->addLayout(pages_, 1);
    const int height = listInset + searchHeight + listInset + rowsSize.height() + listInset;
    resize(QSize(rowsSize.width() + 2 * listInset, height) * fontScale());
}

void SearchList::buildSearchField(const QString& placeholder) {
    searchField_->setPlaceholderText(placeholder);
    searchField_->setAccessibleName(placeholder);
    searchField_->setFont(systemFont(13));
    searchField_->setStyleSheet(searchStyle());
    searchField_->setFixedHeight(static_cast<int>(searchHeight * fontScale()));
    searchField_->setClearButtonEnabled(true);
    for (auto* clear : searchField_->findChildren<QAbstractButton*>())
        clear->setAccessibleName(tr("清除"));
    searchField_->installEventFilter(this);
    connect(searchField_, &QLineEdit::textChanged, this, [this] {
        if (onSearch)
            onSearch();
    });
}

void SearchList::buildTable(const QString& listName) {
    tableView_->setModel(rows_);
    tableView_->setAccessibleName(listName);
    tableView_->setFont(systemFont(13));
    tableView_->setStyleSheet(rowsStyle());
    tableView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tableView_->setUniformItemSizes(true);
    tableView_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    tableView_->setMouseTracking(true);
    tableView_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    tableView_->installEventFilter(this);
    tableView_->viewport()->installEventFilter(this);
    connect(tableView_, &QListView::clicked, this, [this](const QModelIndex& index) { choose(index.row()); });

    auto* empty = new QWidget(this);
    auto* column = new QVBoxLayout(empty);
    column->addStretch();
    column->addWidget(notice_);
    column->addSpacing(listInset);
    column->addWidget(retry_, 0, Qt::AlignHCenter);
    column->addStretch();
    notice_->setAlignment(Qt::AlignCenter);
    connect(retry_, &QPushButton::clicked, this, [this] {
        if (onRetry)
            onRetry();
    });
    pages_->addWidget(tableView_);
    pages_->addWidget(empty);
}

QString SearchList::query() const { return searchField_->text().toLower(); }

void SearchList::showRows(const QStringList& rows, const QString& insteadOfNone) {
    if (rows.isEmpty()) {
        showNotice(insteadOfNone, false);
        return;
    }
    rows_->setStringList(rows);
    pages_->setCurrentIndex(0);
    if (!searchField_->text().isEmpty())
        moveMark(1); // Enter takes the first that was found
}

void SearchList::showNotice(const QString& text, bool canRetry) {
    rows_->setStringList({});
    notice_->setText(text);
    if (retry_->hasFocus())
        searchField_->setFocus(Qt::OtherFocusReason); // not on a button that has gone
    retry_->setVisible(canRetry);
    pages_->setCurrentIndex(1);
}

void SearchList::moveMark(int rows) {
    const int count = rows_->rowCount();
    if (count > 0)
        tableView_->setCurrentIndex(rows_->index(std::clamp(tableView_->currentIndex().row() + rows, 0, count - 1)));
}

bool SearchList::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ToolTip && watched == tableView_->viewport()) { // of a row that may be cut
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), tableView_->indexAt(help->pos()).data().toString(), tableView_);
        return true;
    }
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const int page = std::max(1, tableView_->viewport()->height() / std::max(1, tableView_->sizeHintForRow(0)));
    switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Down:
        moveMark(1);
        return true;
    case Qt::Key_Up:
        moveMark(-1);
        return true;
    case Qt::Key_PageDown:
        moveMark(page);
        return true;
    case Qt::Key_PageUp:
        moveMark(-page);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        choose(tableView_->currentIndex().row());
        return true;
    default:
        return QWidget::eventFilter(watched, event);
    }
}

void SearchList::choose(int row) {
    if (row < 0 || row >= rows_->rowCount())
        return;
    const QPointer<SearchList> self(this); // whoever hears of it may close what holds the list
    if (onSelection)
        onSelection(row);
    if (auto* popover = self ? qobject_cast<Popover*>(window()) : nullptr)
        popover->close();
}

} // namespace parlowen

#include "moc_SearchList.cpp"
