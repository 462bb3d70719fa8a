#pragma once

#include "LanguageListViewController.h"
#include "SetupForm.h"

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>

#include <QPointer>
#include <functional>
#include <optional>
#include <vector>

class QToolButton;

namespace parlowen {

class AudioRouting;
class CommonTipView;
class HttpDatas;
class MYCenterPopView;
class Popover;
class SessionWindow;
class Settings;
struct Notification;

/// The collaborators of the setup page. They outlive it.
struct SetupServices {
    Settings* settings = nullptr;
    HttpDatas* http = nullptr;
    std::function<AudioRouting&()> router; ///< asked once an interview starts
    /// Makes a session that hears that, in a window which is not shown yet; null where there can be none.
    std::function<SessionWindow*(const SessionSound&)> makeSession;
    SoundStrip::Capture capture = inputCapture; ///< what is heard beforehand
    std::function<void()> rehearse = {};        ///< opens a rehearsal with the sample; empty where there is none
    std::function<bool()> mayStart = {};        ///< whether one may start now, and otherwise says why not
};

/// The page on which an interview is prepared and started: how answers are given, the languages, the sound. Each choice
/// is stored at once. Languages that the backend does not offer are marked, with what to do, and an interview that
/// could not understand a word is asked about before it starts. Main thread only.
class InterviewSettingViewController : public BaseViewController, public LanguageSelectorDelegate {
    Q_OBJECT
public:
    explicit InterviewSettingViewController(SetupServices services, QWidget* parent = nullptr);

    /// Stores the answers' settings that a first use begins with, unless there are some already, and gives what is
    /// stored then.
    static AIInterviewModel storedModel(Settings& settings);

    const AIInterviewModel& startAIModel() const { return startAIModel_; }
    PopUpButton* stylePopup() const { return form_->stylePopup(); }
    PopUpButton* modePopup() const { return form_->modePopup(); }
    ChoiceBox* lelfLanguageLabel() const { return form_->lelfLanguageLabel(); }
    ChoiceBox* rightLanguageLabel() const { return form_->rightLanguageLabel(); }
    QLabel* outputLabel() const { return form_->outputLabel(); }
    QLabel* voiceLabel() const { return form_->voiceLabel(); }
    SoundStrip* soundStrip() const { return form_->soundStrip(); }
    Popover* popover() const { return popover_; }
    QPushButton* startButton() const { return form_->startButton(); }
    QToolButton* settingsButton() const { return settingsButton_; }

    void startInterview();
    void openSettings();
    /// Opens the settings, which choose the sound that is not heard now.
    void hearTheOther();
    void didSelectLanguage(LanguageListModel language) override;

protected:
    void viewDidLoad() override;
    void buildUserInterface() override;
    void buildLayout() override;
    void viewDidAppear() override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void loadStored();
    void showModel();
    void applyInterviewType();
    void showLanguages();
    bool isSingle() const { return aiInterviewType == 1; }
    const std::optional<LanguageListModel>& spokenLanguage() const {
        return isSingle() ? chinaLangModel : lelfLangModel;
    }

    void handleMyNotification(const Notification& notification);
    void popupSelectionChanged(PopUpButton* sender);
    void languagePopupClicked(ChoiceBox* box);

    void requestOffered();
    void receiveOffered(LanguageNotice& notice, std::optional<std::vector<LanguageListModel>> languages);
    void takeInstead(const LanguageNotice& notice);
    void askAboutLanguages();
    void startAsked();
    void startHeard();
    void ask(CommonTipView* card, const std::function<void()>& startsAnyway, const std::function<void()>& remedy);
    bool isStarting() const;
    void startWhenKnown();
    void beginSession();
    void showPersonalHint();

    const SetupServices services_;
    Settings& settings_;
    AIInterviewModel startAIModel_;
    std::optional<qint64> aiInterviewType;
    std::optional<LanguageListModel> chinaLangModel;
    std::optional<LanguageListModel> lelfLangModel;
    std::optional<LanguageListModel> rightLangModel;
    int source = 1;
    int requests_ = 0; ///< lists of languages that are on their way
    QPointer<MYCenterPopView> question_;
    bool startsThen_ = false; ///< the start waits for them

    SetupForm* form_;
    Popover* popover_;
    QToolButton* settingsButton_ = nullptr;
};

} // namespace parlowen
