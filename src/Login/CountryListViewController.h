#pragma once

#include <Network/Models.h>
#include <Page/View/SearchList.h>

#include <QPointer>
#include <QWidget>
#include <vector>

namespace parlowen {

class HttpDatas;

/// Hears which country was chosen.
class CountrySelectorDelegate {
public:
    virtual void didSelectCountry(CountryListModel country) = 0;

protected:
    ~CountrySelectorDelegate() = default;
};

/// The country's name in the language of windows.
QString countryName(const CountryListModel& country);

/// The picker of a phone number's country, the content of a popover: the backend's list, asked for each time, with a
/// search by that name or dialling code. Main thread only.
class CountryListViewController : public QWidget {
    Q_OBJECT
public:
    /// Asks for the list. The request layer must outlive it.
    explicit CountryListViewController(HttpDatas& http, QWidget* parent = nullptr);

    /// Who hears the choice: an object that may go before the picker does, and is then no longer told.
    template<class Delegate>
    void setDelegate(Delegate* delegate) {
        delegate_ = delegate;
        delegateObject_ = delegate;
    }

    /// The full list as it was received.
    const std::vector<CountryListModel>& countryModels() const { return countryModels_; }
    /// What is shown of it.
    const std::vector<CountryListModel>& filteredModels() const { return filteredModels_; }
    QLineEdit* searchField() const { return list_->searchField(); }
    QListView* tableView() const { return list_->tableView(); }

private:
    void request();
    void receive(const std::vector<std::optional<CountryListModel>>& countries);
    void controlTextDidChange();
    void tableViewSelectionDidChange(int row);

    HttpDatas& http_;
    CountrySelectorDelegate* delegate_ = nullptr;
    QPointer<QObject> delegateObject_;
    bool isReceived_ = false;
    std::vector<CountryListModel> countryModels_;
    std::vector<CountryListModel> filteredModels_;
    SearchList* list_;
};

} // namespace parlowen
