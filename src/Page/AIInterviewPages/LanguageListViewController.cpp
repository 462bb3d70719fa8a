#include "LanguageListViewController.h"

#include <Network/LanguageList.h>

#include <QBoxLayout>
#include <QLineEdit>
#include <algorithm>

namespace parlowen {

LanguageListViewController::LanguageListViewController(HttpDatas& http, QWidget* parent)
    : BaseViewController(parent)
    , http_(http)
    , list_(new SearchList(tr("搜索国家/地区"), tr("语言"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    resize(list_->size());
    setAccessibleName(list_->accessibleName());
    layout->addWidget(list_);
    list_->onSearch = [this] { controlTextDidChange(); };
    list_->onSelection = [this](int row) { tableViewSelectionDidChange(row); };
    list_->onRetry = [this] { request(); };
}

void LanguageListViewController::loadView() { request(); }

void LanguageListViewController::request() {
    list_->showNotice(tr("正在获取语言列表…"), false);
    searchField()->setFocus(Qt::OtherFocusReason);
    requestLanguages(http_, source, this, [this](const auto& languages) { receive(languages); });
}

void LanguageListViewController::receive(const std::optional<std::vector<LanguageListModel>>& languages) {
    if (!languages) {
        list_->showNotice(tr("无法获取语言列表"), true);
        return;
    }
    isReceived_ = true;
    countryModels_ = *languages;
    controlTextDidChange(); // what was typed while the list was on its way counts
}

void LanguageListViewController::controlTextDidChange() {
    if (!isReceived_)
        return;
    const QString wanted = list_->query();
    filteredModels_.clear();
    std::copy_if(countryModels_.begin(), countryModels_.end(), std::back_inserter(filteredModels_),
                 [&wanted](const LanguageListModel& language) {
                     return language.name.toLower().contains(wanted) ||
                            languageName(language).toLower().contains(wanted);
                 });
    QStringList names;
    for (const LanguageListModel& language : filteredModels_)
        names << languageName(language);
    list_->showRows(names, countryModels_.empty() ? tr("暂无可选语言") : tr("没有匹配的语言"));
}

void LanguageListViewController::tableViewSelectionDidChange(int row) {
    if (delegateObject_)
        delegate_->didSelectLanguage(filteredModels_.at(static_cast<std::size_t>(row)));
}

} // namespace parlowen

#include "moc_LanguageListViewController.cpp"
