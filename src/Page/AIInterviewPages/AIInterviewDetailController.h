#pragma once

#include "RecognitionWatch.h"
#include "SessionAnswers.h"
#include "SessionEvent.h"
#include "SessionServices.h"

#include <Network/Models.h>
#include <Tools/AzTokenNewManager.h>
#include <Tools/TimerManager.h>

#include <QObject>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace parlowen {

class SpeechRecognitionTool;

/// One live interview, with or without a window that shows it. It keeps a speech token, runs recognition on the
/// captured sound, turns sentences into transcript rows, sends questions and takes the answers in; when it is closed it
/// stops all of this and ends what it asked of the audio devices. It is never restarted. Main thread only.
class AIInterviewDetailController : public QObject, public AzTokenNewDelegate {
    Q_OBJECT
public:
    /// Reads its settings once, here.
    explicit AIInterviewDetailController(SessionServices services, QObject* parent = nullptr);
    /// Closes it, where nobody has.
    ~AIInterviewDetailController() override;

    const SessionServices& services() const { return services_; }
    /// How to bring the application's main window to the front; called when the session has ended.
    void setMainWindow(std::function<void()> bringToFront) { mainWindow_ = std::move(bringToFront); }

    bool isTranslating() const { return isTranslating_; }
    bool isClosing() const { return isClosing_; }
    bool isTop() const { return isTop_; }
    int fontSize() const { return fontSize_; }
    /// Changes the lists' font and, where interview settings are stored, stores the size with them.
    void setFontSize(int size);
    qint64 streamID() const { return streamID_; }
    std::optional<qint64> useTimeCount() const { return useTimeCount_; }
    const std::optional<KXTranslationHistoryDetailsModel>& centerModel() const { return centerModel_; }
    const std::vector<KXTranslationHistoryDetailsModel>& topArr() const { return topArr_; }
    const std::vector<std::shared_ptr<StreamModel>>& streamModels() const { return answers_.streamModels(); }

    /// Whether sentences are collected as questions instead of being asked at once.
    bool isManual() const { return interviewModel_ && interviewModel_->antoAnswerType == 1; }
    /// Whether sentences wait in the question box of manual mode.
    bool hasCollectedQuestions() const { return isManual() && hasText(); }
    /// The question box's text, as the user has made it.
    void setQuestionText(const QString& text) { questionText_ = text; }
    /// What the interview is about, for people: the position, and the languages.
    QString subject() const;

    /// Starts the session: clock, token, recognition. Whoever shows it has built its views by then.
    void viewDidLoad();
    /// What was to be heard is over: counts the seconds no further, and recognises the rest of what was captured.
    void endSound();
    /// Stores the elapsed seconds.
    void setUseTimeCount(qint64 seconds);
    /// Asks for an answer. Nothing is sent without interview settings.
    void sendQuestion(const QString& question);
    /// The answer button's action: sends the question box's whole text and empties it.
    void aiResponseTapped();
    /// The pin button's action: pins the window above others or lets it go.
    void topupDidTap();
    /// Ends the session. The window's closing calls it; further calls do nothing.
    void windowWillClose();

    void tokenDidFetch(const AzTokenModel& token) override;
    void tokenDidRefresh(const AzTokenModel& token) override;
    void tokenDidFail() override { recognition_.tokenDidFail(); }
    std::shared_ptr<SpeechRecognitionTool> speechTool() { return speechTool_; }
    /// How recognition fares, also where no status is there to be told.
    const RecognitionStatus& recognition() const { return recognition_.recognition(); }
    /// Whether the local service is being started, which is then why it cannot be reached.
    void setServiceStarting(bool starting) { recognition_.setServiceStarting(starting); }

Q_SIGNALS:
    /// What happens in the session, after it has; nothing once it is closing.
    void happened(const SessionEvent& event);
    void useTimeCountChanged(qint64 seconds);
    void fontSizeChanged(int size);
    void isTopChanged(bool isTop);
    /// The session has been closed; its services still stop in the background.
    void closing();

private:
    void tell(const SessionEvent& event);
    void startSessionServices();
    void startSingleLanguage();
    void startTwoLanguages();

    void partialSentence(const QString& text, const QString& translation);
    void finalSentence(const QString& text, const QString& translation);
    bool translateEarlier(const QString& text, const QString& translation);
    void dispatchQuestion(const QString& text);
    std::shared_ptr<StreamModel> makeQuestion(const QString& question) const;

    void closeSession();
    // The line feed before the first sentence is not shown: a box with that alone looks empty.
    bool hasText() const { return !questionText_.trimmed().isEmpty(); }
    void stopSessionServices();

    const SessionServices services_;

    std::shared_ptr<AzTokenNewManager> azTokenManager_;
    TimerManager::Session clock_ = 0;
    std::shared_ptr<SpeechRecognitionTool> speechTool_;
    bool isTranslating_ = false;
    const std::optional<LanguageListModel> langModel1_;
    const std::optional<LanguageListModel> langModel2_;
    const std::optional<LanguageListModel> langSpeechModel_;
    const std::optional<qint64> aiInterviewType_;
    const std::optional<AIInterviewModel> interviewModel_;
    int fontSize_ = 14;
    std::optional<KXTranslationHistoryDetailsModel> centerModel_;
    std::vector<KXTranslationHistoryDetailsModel> topArr_;
    std::deque<std::size_t> untranslated_; ///< places in it, of sentences whose translation is still to come
    SessionAnswers answers_;               ///< holds `streamModels` with their clients
    qint64 streamID_ = 0;
    std::optional<qint64> useTimeCount_;
    std::function<void()> mainWindow_;
    bool isTop_ = true;
    bool isClosing_ = false;
    QString questionText_;
    RecognitionWatch recognition_;
};

} // namespace parlowen
