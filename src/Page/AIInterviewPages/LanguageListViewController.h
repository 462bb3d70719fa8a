#pragma once

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>
#include <Page/View/SearchList.h>

#include <QPointer>
#include <vector>

namespace parlowen {

class HttpDatas;

/// Hears which language was chosen.
class LanguageSelectorDelegate {
public:
    virtual void didSelectLanguage(LanguageListModel language) = 0;

protected:
    ~LanguageSelectorDelegate() = default;
};

/// The picker of a language, the content of a popover: a search field above the backend's list. Main thread only.
class LanguageListViewController : public BaseViewController {
    Q_OBJECT
public:
    /// The request layer must outlive it.
    explicit LanguageListViewController(HttpDatas& http, QWidget* parent = nullptr);

    /// Who hears the choice: an object that may go before the picker does, and is then no longer told. Before the
    /// picker is first shown.
    template<class Delegate>
    void setDelegate(Delegate* delegate) {
        delegate_ = delegate;
        delegateObject_ = delegate;
    }

    /// Which languages: 1 those that are recognised, 2 the targets of translation. Before the picker is first shown.
    int source = 1;

    /// The full list as it was received.
    const std::vector<LanguageListModel>& countryModels() const { return countryModels_; }
    /// What is shown of it.
    const std::vector<LanguageListModel>& filteredModels() const { return filteredModels_; }
    QLineEdit* searchField() const { return list_->searchField(); }
    QListView* tableView() const { return list_->tableView(); }

protected:
    /// Asks for the languages.
    void loadView() override;
    void viewDidLoad() override {} // the field takes the keyboard

private:
    void request();
    void receive(const std::optional<std::vector<LanguageListModel>>& languages);
    void controlTextDidChange();
    void tableViewSelectionDidChange(int row);

    HttpDatas& http_;
    LanguageSelectorDelegate* delegate_ = nullptr;
    QPointer<QObject> delegateObject_;
    bool isReceived_ = false;
    std::vector<LanguageListModel> countryModels_;
    std::vector<LanguageListModel> filteredModels_;
    SearchList* list_;
};

} // namespace parlowen
