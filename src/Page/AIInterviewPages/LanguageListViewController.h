#pragma once

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>

#include <QPointer>
#include <vector>

class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStackedLayout;
class QStringListModel;

namespace parlowen {

class HttpDatas;

/// Hears which language was chosen.
class LanguageSelectorDelegate {
public:
    virtual void didSelectLanguage(LanguageListModel language) = 0;

protected:
    ~LanguageSelectorDelegate() = default;
};

/// The picker of a language, the content of a popover: a search field above the backend's list. A click chooses, as
/// does Enter for the marked row, which the arrow keys move while the field keeps the keyboard. It has a size of its
/// own. Main thread only.
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
    QLineEdit* searchField() const { return searchField_; }
    QListView* tableView() const { return tableView_; }

protected:
    /// Builds the field and the list and asks for the languages.
    void loadView() override;
    void viewDidLoad() override {} // the field takes the keyboard
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildSearchField();
    void buildTable();
    void request();
    void receive(const std::optional<std::vector<LanguageListModel>>& languages);
    void controlTextDidChange();
    void showRows();
    void moveMark(int rows);
    void tableViewSelectionDidChange(int row);
    void dismiss();

    HttpDatas& http_;
    LanguageSelectorDelegate* delegate_ = nullptr;
    QPointer<QObject> delegateObject_;
    bool isReceived_ = false;
    std::vector<LanguageListModel> countryModels_;
    std::vector<LanguageListModel> filteredModels_;
    QLineEdit* searchField_;
    QListView* tableView_;
    QStringListModel* names_;
    QLabel* notice_; ///< in the list's place: why it is empty
    QPushButton* retry_;
    QStackedLayout* pages_ = nullptr;
};

} // namespace parlowen
