#include "LanguageListViewController.h"

#include <Network/LanguageList.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedLayout>
#include <QStringListModel>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int pickerInset = 10;
constexpr int fieldHeight = 30;
constexpr int pickerRowHeight = 30;
constexpr QSize listSize(200, 280);

QString listStyle() {
    return QStringLiteral("QListView { background: transparent; border: none; outline: none; color: %1; }"
                          "QListView::item { height: %2px; padding: 0 6px; border-radius: 5px; }"
                          "QListView::item:hover { background: %3; }"
                          "QListView::item:selected { background: %4; color: %1; }")
               .arg(hexColor(theme::darkText).name())
               .arg(static_cast<int>(pickerRowHeight * fontScale()))
               .arg(hexColor(theme::pale).name(), hexColor(theme::secondary).name()) +
           styleSheets::lightScrollBar();
}

QString fieldStyle() {
    return QStringLiteral("QLineEdit { background: %1; border: 1px solid %1; border-radius: 6px; padding: 0 6px; }"
                          "QLineEdit:focus { border-color: %2; }")
        .arg(hexColor(theme::pale).name(), hexColor(theme::cardBorder).name());
}

} // namespace

LanguageListViewController::LanguageListViewController(HttpDatas& http, QWidget* parent)
    : BaseViewController(parent)
    , http_(http)
    , searchField_(new QLineEdit(this))
    , tableView_(new QListView(this))
    , names_(new QStringListModel(this))
    , notice_(makeLabel(hexColor(theme::midGrey), false, 13, this))
    , retry_(makeCardButton(QStringLiteral("重试"), hexColor(theme::darkText), hexColor(theme::secondary), this)) {
    const int height = pickerInset + fieldHeight + pickerInset + listSize.height() + pickerInset;
    resize(QSize(listSize.width() + 2 * pickerInset, height) * fontScale());
}

void LanguageListViewController::loadView() {
    setPalette(lightPalette(Qt::white));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(pickerInset, pickerInset, pickerInset, pickerInset);
    layout->setSpacing(pickerInset);
    buildSearchField();
    layout->addWidget(searchField_);
    buildTable();
    layout->addLayout(pages_, 1);
    request();
}

void LanguageListViewController::buildSearchField() {
    searchField_->setPlaceholderText(QStringLiteral("搜索国家/地区"));
    searchField_->setAccessibleName(searchField_->placeholderText());
    searchField_->setFont(systemFont(13));
    searchField_->setStyleSheet(fieldStyle());
    searchField_->setFixedHeight(static_cast<int>(fieldHeight * fontScale()));
    searchField_->setClearButtonEnabled(true);
    searchField_->installEventFilter(this);
    connect(searchField_, &QLineEdit::textChanged, this, &LanguageListViewController::controlTextDidChange);
}

void LanguageListViewController::buildTable() {
    tableView_->setModel(names_);
    tableView_->setAccessibleName(QStringLiteral("国家"));
    tableView_->setFont(systemFont(13));
    tableView_->setStyleSheet(listStyle());
    tableView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tableView_->setUniformItemSizes(true);
    tableView_->setMouseTracking(true);
    tableView_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    tableView_->installEventFilter(this);
    connect(tableView_, &QListView::clicked, this,
            [this](const QModelIndex& index) { tableViewSelectionDidChange(index.row()); });

    auto* empty = new QWidget(this);
    auto* column = new QVBoxLayout(empty);
    column->addStretch();
    column->addWidget(notice_);
    column->addSpacing(pickerInset);
    column->addWidget(retry_, 0, Qt::AlignHCenter);
    column->addStretch();
    notice_->setAlignment(Qt::AlignCenter);
    connect(retry_, &QPushButton::clicked, this, &LanguageListViewController::request);

    pages_ = new QStackedLayout;
    pages_->addWidget(tableView_);
    pages_->addWidget(empty);
}

void LanguageListViewController::request() {
    notice_->setText(QStringLiteral("正在获取语言列表…"));
    retry_->hide();
    pages_->setCurrentIndex(1);
    searchField_->setFocus(Qt::OtherFocusReason); // not on the button that has gone
    requestLanguages(http_, source, this, [this](const auto& languages) { receive(languages); });
}

void LanguageListViewController::receive(const std::optional<std::vector<LanguageListModel>>& languages) {
    if (!languages) {
        notice_->setText(QStringLiteral("无法获取语言列表"));
        retry_->show();
        return;
    }
    isReceived_ = true;
    countryModels_ = *languages;
    controlTextDidChange(); // what was typed while the list was on its way counts
}

void LanguageListViewController::controlTextDidChange() {
    const QString wanted = searchField_->text().toLower();
    filteredModels_.clear();
    std::copy_if(countryModels_.begin(), countryModels_.end(), std::back_inserter(filteredModels_),
                 [&wanted](const LanguageListModel& language) { return language.name.toLower().contains(wanted); });
    if (isReceived_)
        showRows();
}

void LanguageListViewController::showRows() {
    QStringList names;
    for (const LanguageListModel& language : filteredModels_)
        names << language.name;
    names_->setStringList(names);
    notice_->setText(countryModels_.empty() ? QStringLiteral("暂无可选语言") : QStringLiteral("没有匹配的语言"));
    pages_->setCurrentIndex(names.isEmpty() ? 1 : 0);
    if (!searchField_->text().isEmpty())
        moveMark(1); // Enter takes the first that was found
}

void LanguageListViewController::moveMark(int rows) {
    const int count = names_->rowCount();
    if (count > 0)
        tableView_->setCurrentIndex(names_->index(std::clamp(tableView_->currentIndex().row() + rows, 0, count - 1)));
}

bool LanguageListViewController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return BaseViewController::eventFilter(watched, event);
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
        tableViewSelectionDidChange(tableView_->currentIndex().row());
        return true;
    default:
        return BaseViewController::eventFilter(watched, event);
    }
}

void LanguageListViewController::tableViewSelectionDidChange(int row) {
    if (row < 0 || row >= static_cast<int>(filteredModels_.size()))
        return;
    const QPointer<LanguageListViewController> self(this); // the delegate may close what holds it
    if (delegateObject_)
        delegate_->didSelectLanguage(filteredModels_.at(static_cast<std::size_t>(row)));
    if (self)
        dismiss();
}

void LanguageListViewController::dismiss() {
    if (auto* popover = qobject_cast<Popover*>(window()))
        popover->close();
}

} // namespace parlowen
