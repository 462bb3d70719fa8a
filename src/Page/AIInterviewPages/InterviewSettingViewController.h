#pragma once

#include "LanguageListViewController.h"
#include "SoundStrip.h"

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>

#include <functional>
#include <optional>
#include <vector>

class QLabel;
class QPushButton;
class QToolButton;

namespace parlowen {

class AudioRouting;
class ChoiceBox;
class HttpDatas;
class LanguageNotice;
class PersonalNotice;
class Popover;
class PopUpButton;
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
};

/// The page on which an interview is prepared and started: how answers are given, the languages, the sound. Each choice
/// is stored at once. Languages that the backend does not offer are marked, with what to do, and an interview that
/// could not understand a word is asked about before it starts. Main thread only.
class InterviewSettingViewController : public BaseViewController, public LanguageSelectorDelegate {
    Q_OBJECT
public:
    explicit InterviewSettingViewController(SetupServices services, QWidget* parent = nullptr);

    const AIInterviewModel& startAIModel() const { return startAIModel_; }
    PopUpButton* stylePopup() const { return stylePopup_; }
    PopUpButton* modePopup() const { return modePopup_; }
    ChoiceBox* lelfLanguageLabel() const { return lelfLanguageLabel_; }
    ChoiceBox* rightLanguageLabel() const { return rightLanguageLabel_; }
    QLabel* outputLabel() const { return outputLabel_; }
    QLabel* voiceLabel() const { return voiceLabel_; }
    SoundStrip* soundStrip() const { return soundStrip_; }
    Popover* popover() const { return popover_; }
    QPushButton* startButton() const { return startButton_; }
    QPushButton* rehearseButton() const { return rehearseButton_; }
    QToolButton* settingsButton() const { return settingsButton_; }

    void startInterview();
    void openSettings();
    void didSelectLanguage(LanguageListModel language) override;

protected:
    void viewDidLoad() override;
    void buildUserInterface() override;
    void buildLayout() override;
    void viewDidAppear() override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QLabel* makeCaption(const QString& text);
    void buildLanguages();
    void buildStart();
    void loadStored();
    void applyInterviewType();
    bool isSingle() const { return aiInterviewType_ == 1; }
    const std::optional<LanguageListModel>& spokenLanguage() const {
        return isSingle() ? chinaLangModel_ : lelfLangModel_;
    }

    void handleMyNotification(const Notification& notification);
    void popupSelectionChanged(PopUpButton* sender);
    void languagePopupClicked(const ChoiceBox* box);

    void requestOffered();
    void receiveOffered(LanguageNotice& notice, std::optional<std::vector<LanguageListModel>> languages);
    void showNotices();
    void takeInstead(const LanguageNotice& notice);
    void askBeforeStart();
    void beginSession();
    void showPersonalHint();

    const SetupServices services_;
    Settings& settings_;
    AIInterviewModel startAIModel_;
    std::optional<qint64> aiInterviewType_;
    std::optional<LanguageListModel> chinaLangModel_;
    std::optional<LanguageListModel> lelfLangModel_;
    std::optional<LanguageListModel> rightLangModel_;
    int source_ = 1;
    int requests_ = 0;        ///< lists of languages that are on their way
    bool startsThen_ = false; ///< the start waits for them

    QWidget* content_; ///< what scrolls
    Popover* popover_;
    QLabel* voiceLabel_ = nullptr;
    QLabel* timeLabel_ = nullptr;
    SoundStrip* soundStrip_ = nullptr;
    PopUpButton* stylePopup_ = nullptr;
    PopUpButton* modePopup_ = nullptr;
    ChoiceBox* lelfLanguageLabel_ = nullptr;
    ChoiceBox* rightLanguageLabel_ = nullptr;
    QLabel* outputLabel_ = nullptr;
    LanguageNotice* spokenNotice_ = nullptr;
    LanguageNotice* targetNotice_ = nullptr;
    QPushButton* startButton_ = nullptr;
    QPushButton* rehearseButton_ = nullptr; ///< none where nothing can be rehearsed
    PersonalNotice* personal_ = nullptr;
    QToolButton* settingsButton_ = nullptr;
};

} // namespace parlowen
