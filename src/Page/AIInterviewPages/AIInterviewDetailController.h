#pragma once

#include "SessionLayout.h"
#include "SessionServices.h"

#include <Network/Models.h>
#include <Page/View/BaseViewController.h>
#include <Page/View/KXTranslationHistoryDetailsModel.h>
#include <Page/View/ReadingList.h>
#include <Tools/AzTokenNewManager.h>
#include <Tools/SessionStatus.h>
#include <Tools/TimerManager.h>

#include <QPoint>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QLabel;
class QPushButton;
class QToolButton;

namespace parlowen {

class AnswersModel;
class ListFrame;
class QuestionBox;
class SpeechRecognitionTool;
class StatusChip;
class StreamModel;
class TranscriptModel;

/// The page of one live interview, content of the session window. It keeps a speech token, runs recognition on the
/// captured sound, turns sentences into transcript rows, sends questions and shows the growing answers; when its window
/// closes it stops all of this and ends what it asked of the audio devices. It is never restarted. Main thread only.
class AIInterviewDetailController : public BaseViewController, public AzTokenNewDelegate {
    Q_OBJECT
public:
    /// What happens in the session, for whoever follows it. All optional, all on the main thread; none comes once the
    /// window is closing. `index` is the row in the transcript, from 0.
    struct Observer {
        std::function<void()> recognitionStarted;
        std::function<void(const KXTranslationHistoryDetailsModel& row, int index)> partial;
        std::function<void(const KXTranslationHistoryDetailsModel& row, int index)> final;
        std::function<void(const std::shared_ptr<StreamModel>&)> asked; ///< before its request is sent
        std::function<void(const std::shared_ptr<StreamModel>&)> answerGrew;
        /// Recognition has stopped for good; the text says why.
        std::function<void(const QString&)> recognitionError;
        /// A mark for so many seconds that were not heard was put behind the rows so far, or one there grew by as many.
        std::function<void(int seconds)> missed;
    };

    /// Reads its settings once, here.
    explicit AIInterviewDetailController(SessionServices services, QWidget* parent = nullptr);
    ~AIInterviewDetailController() override;

    void setObserver(Observer observer) { observer_ = std::move(observer); }
    /// The application's main window, brought to the front when the session has ended.
    void setMainWindow(QWidget* window) { mainWindow_ = window; }

    bool isTranslating() const { return isTranslating_; }
    bool isClosing() const { return isClosing_; }
    bool isTop() const { return isTop_; }
    int fontSize() const { return fontSize_; }
    /// Changes the lists' font and, where interview settings are stored, stores the size with them.
    void setFontSize(int size);
    qint64 streamID() const { return streamID_; }
    std::optional<qint64> useTimeCount() const { return useTimeCount_; }
    const std::optional<KXTranslationHistoryDetailsModel>& centerModel() const;
    const std::vector<KXTranslationHistoryDetailsModel>& topArr() const;
    std::vector<std::shared_ptr<StreamModel>> streamModels() const;
    /// Whether sentences wait in the question box of manual mode.
    bool hasCollectedQuestions() const;

    /// The page's controls in the order in which the Tab key goes through them.
    std::vector<QWidget*> keyboardOrder() const;
    /// Where the pin button is in the page: what the window adds to the header stands level with it.
    QRect pinPlace() const;
    /// How wide the title is that the window shows in the header's middle.
    void setTitleWidth(int width) { titleWidth_ = width; }
    /// What the interview is about, for people: the position, and the languages.
    QString subject() const;
    /// Adds a sentence to the details of the status, where one is shown.
    void addStatusNote(const QString& sentence);
    /// Counts the seconds no further: what was to be heard is over.
    void stopClock();

    /// Stores the elapsed seconds and shows them as hours, minutes and seconds.
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
    void tokenDidFail() override;
    std::shared_ptr<SpeechRecognitionTool> speechTool() { return speechTool_; }
    /// How recognition fares, also where no status is there to be told.
    const RecognitionStatus& recognition() const { return recognition_; }
    /// Whether the local service is being started, which is then why it cannot be reached.
    void setServiceStarting(bool starting);

Q_SIGNALS:
    /// A context menu is asked for on one of the lists.
    void menuRequested(ReadingList* list, QPoint globalPosition);

protected:
    void loadView() override;
    void viewDidLoad() override;
    void buildUserInterface() override;
    void buildLayout() override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isManual() const;
    void startSessionServices();
    void startSingleLanguage();
    void startTwoLanguages();
    void followRecognition();
    void recognitionIs(const RecognitionStatus& status);
    void tellRecognition();
    bool waitsForToken() const;
    void askForTokenAgain();
    void gapInCapture(double seconds);
    void markMissed(double seconds);

    void partialSentence(const QString& text, const QString& translation);
    void finalSentence(const QString& text, const QString& translation);
    void dispatchQuestion(const QString& text);
    std::shared_ptr<StreamModel> makeQuestion(const QString& question) const;

    void closeSession();
    void stopSessionServices();

    void buildHeader();
    void buildLists();
    void buildQuestionBox();
    void buildReading();
    void openMenuByKeys();
    void showPinState();
    void hoverPin(bool inside);
    SessionLayout currentLayout() const;
    void reloadTranscript(const std::function<void()>& change);
    void reloadAnswers(const std::function<void()>& change);
    void attachUpdates(int row, const std::shared_ptr<StreamModel>& model);
    void updateAnswerRow(int row, const std::shared_ptr<StreamModel>& model);

    const SessionServices services_;
    Observer observer_;

    std::shared_ptr<AzTokenNewManager> azTokenManager_;
    TimerManager::Session clock_ = 0;
    std::shared_ptr<SpeechRecognitionTool> speechTool_;
    RecognitionStatus recognition_;
    QTimer recognitionTick_; ///< for the seconds that wait
    int withoutToken_ = 0;   ///< ticks for which one has been waited for
    bool serviceStarting_ = false;
    double unmarked_ = 0; ///< seconds that were missed and are in no mark
    bool isTranslating_ = false;
    const std::optional<LanguageListModel> langModel1_;
    const std::optional<LanguageListModel> langModel2_;
    const std::optional<LanguageListModel> langSpeechModel_;
    const std::optional<qint64> aiInterviewType_;
    const std::optional<AIInterviewModel> interviewModel_;
    int fontSize_ = 14;
    TranscriptModel* transcript_; ///< holds `topArr` and `centerModel`
    AnswersModel* answers_;       ///< holds `streamModels` with their clients
    qint64 streamID_ = 0;
    std::optional<qint64> useTimeCount_;
    QPointer<QWidget> mainWindow_;
    bool isTop_ = true;
    bool isClosing_ = false;
    int titleWidth_ = 0;

    StatusChip* status_ = nullptr; ///< null without a status
    QLabel* timeLabel_ = nullptr;
    QLabel* tipLab_ = nullptr;
    QToolButton* topImg_ = nullptr;
    ListFrame* topView_ = nullptr;
    ListFrame* bottomView_ = nullptr;
    ReadingList* topTableView_ = nullptr;
    ReadingList* bottomTableView_ = nullptr;
    QuestionBox* textView_ = nullptr;
    QPushButton* aiResponseButton_ = nullptr;
};

} // namespace parlowen
