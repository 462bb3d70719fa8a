#include "CountryListViewController.h"

#include <Foundation/ChosenLanguage.h>
#include <Network/HttpDatas.h>

#include <QBoxLayout>
#include <algorithm>

namespace parlowen {

namespace {

QString countryRow(const CountryListModel& country) {
    return countryName(country) + QStringLiteral(" +") + country.country_code.value_or(QString());
}

bool contains(const std::optional<QString>& field, const QString& query) {
    return field.value_or(QString()).toLower().contains(query);
}

} // namespace

QString countryName(const CountryListModel& country) {
    const bool isEnglish = windowLanguage() == Language::English && country.name_en;
    return (isEnglish ? country.name_en : country.name_zn).value_or(QString());
}

CountryListViewController::CountryListViewController(HttpDatas& http, QWidget* parent)
    : QWidget(parent)
    , http_(http)
    , list_(new SearchList(tr("搜索国家/地区"), tr("国家"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    resize(list_->size());
    setAccessibleName(list_->accessibleName());
    layout->addWidget(list_);
    list_->onSearch = [this] { controlTextDidChange(); };
    list_->onSelection = [this](int row) { tableViewSelectionDidChange(row); };
    list_->onRetry = [this] { request(); };
    request();
}

void CountryListViewController::request() {
    list_->showNotice(tr("正在获取国家/地区列表…"), false);
    http_.requestData(QStringLiteral("/country/list"), HttpMethod::GET, std::nullopt, std::nullopt, this,
                      [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
                          const bool isList = status == FResponseStatus::success && json && (*json)["data"].isArray();
                          if (isList)
                              receive(mapLenientList<CountryListModel>((*json)["data"].rawString()));
                          if (!isReceived_)
                              list_->showNotice(tr("无法获取国家/地区列表"), true);
                      });
}

void CountryListViewController::receive(const std::vector<std::optional<CountryListModel>>& countries) {
    if (std::find(countries.begin(), countries.end(), std::nullopt) != countries.end())
        return;
    isReceived_ = true;
    for (const std::optional<CountryListModel>& country : countries)
        countryModels_.push_back(*country);
    controlTextDidChange(); // what was typed while the list was on its way counts
}

void CountryListViewController::controlTextDidChange() {
    if (!isReceived_)
        return;
    const QString query = list_->query();
    filteredModels_.clear();
    std::copy_if(countryModels_.begin(), countryModels_.end(), std::back_inserter(filteredModels_),
                 [&query](const CountryListModel& country) {
                     return contains(countryName(country), query) || contains(country.name_zn, query) ||
                            contains(country.country_code, query);
                 });
    QStringList rows;
    for (const CountryListModel& country : filteredModels_)
        rows << countryRow(country);
    list_->showRows(rows, tr("没有匹配的国家/地区"));
}

void CountryListViewController::tableViewSelectionDidChange(int row) {
    if (delegateObject_)
        delegate_->didSelectCountry(filteredModels_.at(static_cast<std::size_t>(row)));
}

} // namespace parlowen

#include "moc_CountryListViewController.cpp"
