#pragma once

#include <Network/JSON.h>
#include <Page/View/VersionForceAlertView.h>

namespace parlowen {

class HttpDatas;
class Settings;

/// The page about the program: its logo, its name and its running version, and the check for a newer one. Main thread
/// only.
class AboutMeViewController : public BaseViewController {
    Q_OBJECT
public:
    /// Both must outlive the page.
    explicit AboutMeViewController(HttpDatas& http, Settings& settings, QWidget* parent = nullptr);

    QLabel* versionLabel() const { return versionLabel_; }
    CustomButton* sureBtn() const { return sureBtn_; }          ///< asks for the check; not shown
    VersionForceAlertView* tipView() const { return tipView_; } ///< null before a newer version was found

    /// Asks the backend, and tells of a newer version, or that there is none. What cannot be had is not spoken of.
    void checkForUpdates();

protected:
    void buildUserInterface() override;
    void viewWillAppear() override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void receive(const JSON& payload);

    HttpDatas& http_;
    Settings& settings_;
    QLabel* versionLabel_ = nullptr;
    CustomButton* sureBtn_ = nullptr;
    VersionForceAlertView* tipView_ = nullptr;
};

} // namespace parlowen
