#include "SessionRun.h"

#include "Composition.h"
#include "WatchedSource.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/Phrase.h>

#include <Tools/SessionStatusText.h>

#include <QCloseEvent>
#include <QRegularExpression>
#include <QSaveFile>
#include <QScreen>
#include <utility>

namespace parlowen {

namespace {

constexpr Phrase signedOut{"the backend no longer takes the sign-in", "后端不再接受当前的登录"};
constexpr Phrase didNotStart{"recognition did not start", "识别没有开始"};
constexpr Phrase endNotRecognised{"the end was not recognised. %1", "结尾没有被识别。%1"};
constexpr Phrase answerDidNotEnd{"an answer did not end", "有一个回答没有结束"};
constexpr Phrase wasInterrupted{"interrupted", "已中断"};
constexpr Phrase cutOff{"the last sentence was cut off: %1", "最后一句被截断：%1"};
constexpr Phrase answerCutOff{"answer %1 was cut off", "第 %1 个回答被截断"};
constexpr Phrase oneSentence{"%1 sentence in %2 s.", "%2 秒内 %1 句。"};
constexpr Phrase manySentences{"%1 sentences in %2 s.", "%2 秒内 %1 句。"};
constexpr Phrase noPicture{"the picture cannot be written to %1", "无法写入截图：%1"};
constexpr Phrase anotherSession{"another session of yours is open; both go on", "另一个面试窗口已打开，两个都会继续"};
constexpr int statusDone = 0;
constexpr int statusNotRun = 1;
constexpr int statusBadInput = 2;
// Recognition ends a sentence half a second after it was spoken; the rest is for slow machines and a reconnect.
constexpr int quietMilliseconds = 4'000;
// What an answer, or a sentence that has begun, may take from one piece to the next once the sound is over.
constexpr int pieceMilliseconds = 60'000;
// A token is asked for again and again; one that comes later than this does not come for a recording.
constexpr int startMilliseconds = 60'000;

} // namespace

SessionRun::SessionRun(CommandLine line, SessionReport& report, SessionSettings& settings, Composition& composition,
                       std::function<void(int)> finished)
    : line_(std::move(line))
    , report_(report)
    , finished_(std::move(finished))
    , settings_(settings)
    , composition_(composition) {
    quiet_.setSingleShot(true);
    connect(&quiet_, &QTimer::timeout, this, &SessionRun::settle);
}

SessionRun::~SessionRun() { composition_.setHooks({}); }

double SessionRun::heardSeconds() const {
    return heard_.isValid() ? static_cast<double>(heard_.elapsed()) / 1000 : 0.0;
}

void SessionRun::begin() {
    if (const auto problem = soundProblem()) {
        giveUp(*problem, statusBadInput);
        return;
    }
    report_.started(soundName());
    if (const auto& problem = settings_.storedProblem())
        report_.problem(*problem);
    settings_.applyAnswers(line_);
    connectBackend();
}

void SessionRun::connectBackend() {
    Backend& backend = composition_.backend();
    if (const Result<void> usable = backend.checkAddress(); !usable) {
        giveUp(usable.error(), statusBadInput);
        return;
    }
    connect(&backend, &Backend::servingChanged, this, [this](bool serves) {
        if (controller_)
            controller_->setServiceStarting(!serves);
    });
    composition_.connectBackend(this, [this](const Result<Backend::Access>& access) {
        if (access)
            signIn(access->trust);
        else
            giveUp(access.error(), statusNotRun);
    });
}

void SessionRun::signIn(const LocalTrust& trust) {
    Composition::Hooks hooks;
    hooks.problem = [this](const QString& text) { requestFailed(text); };
    if (!line_.headless)
        hooks.alert = Composition::showModally;
    hooks.forcedSignOut = [this] {
        if (!signIn_->tokenRefused())
            requestFailed(signedOut.here());
    };
    composition_.setHooks(std::move(hooks));
    signIn_ = std::make_unique<SessionSignIn>(composition_.http(), settings_.settings(), trust);
    signIn_->run([this](const Result<void>& signedIn) {
        if (signedIn)
            loadLanguages();
        else
            giveUp(signedIn.error(), statusNotRun);
    });
}

void SessionRun::loadLanguages() {
    composition_.languageList(1, this, [this](std::vector<LanguageListModel> spoken) {
        spoken_ = std::move(spoken);
        composition_.languageList(2, this, [this](const std::vector<LanguageListModel>& targets) {
            settings_.applyLanguages(line_, spoken_, targets);
            openSession();
        });
    });
}

void SessionRun::openSession() {
    if (const auto problem = prepareSound()) {
        giveUp(*problem, statusNotRun);
        return;
    }
    window_ = composition_.openSession(watchedCapture(), router(), status_);
    controller_ = window_->controller();
    window_->installEventFilter(this);
    observe();
    if (!line_.headless)
        sayIfSecond();
    connect(&status_, &SessionStatus::recognitionChanged, this, &SessionRun::recognitionChanged);
    connect(&status_, &SessionStatus::recognitionChanged, this, &SessionRun::reportStatus);
    connect(&status_, &SessionStatus::inputChanged, this, &SessionRun::reportStatus);
    window_->show();
    if (line_.verbose)
        stops_.emplace();
    if (endsByItself())
        quiet_.start(startMilliseconds);
}

void SessionRun::sayIfSecond() {
    presence_.emplace();
    if (!presence_->isSecond())
        return;
    warn(anotherSession.here());
    controller_->addStatusNote(anotherSession.in(Language::Chinese));
    // Not exactly over the first one's window.
    constexpr QPoint beside(48, 48);
    window_->move(window_->screen()->availableGeometry().center() - window_->rect().center() + beside);
}

void SessionRun::reportStatus() {
    const SessionStatusText now = sessionStatusText(status_.input(), status_.recognition(), terminalLanguage());
    // Seconds that are counted are no news.
    static const QRegularExpression number(QStringLiteral("\\d+"));
    const QString words = QString(now.text).remove(number);
    if (closing_ || words == std::exchange(lastStatus_, words))
        return;
    report_.status(now.text, now.severity == SessionStatusText::Severity::Plain);
}

CaptureSourceFactory SessionRun::watchedCapture() {
    return [self = QPointer<SessionRun>(this), factory = capture()]() -> std::unique_ptr<CaptureSource> {
        return std::make_unique<WatchedSource>(factory(), [self](const QString& problem) {
            onMain(self, [self, problem] { self->soundFailed(problem); });
        });
    };
}

void SessionRun::soundFailed(const QString& problem) {
    soundFailed_ = true;
    report_.problem(problem);
    soundEnded();
}

// A request that is made again and again fails in the same way each time.
void SessionRun::requestFailed(const QString& problem) {
    if (std::exchange(lastProblem_, problem) != problem)
        report_.problem(problem);
}

void SessionRun::recognitionChanged() {
    using State = RecognitionStatus::State;
    const RecognitionStatus& now = status_.recognition();
    if (now.state == State::Recognizing)
        lastProblem_.clear();
    if (std::exchange(lagged_, recognitionLags()) != lagged_ || now.state == State::Recognizing)
        settleSoon();
}

/// Sound that was captured may still become rows.
bool SessionRun::recognitionLags() const {
    using State = RecognitionStatus::State;
    const RecognitionStatus& now = status_.recognition();
    return now.state == State::Reconnecting || (now.state == State::Recognizing && now.waitingSeconds > 0);
}

void SessionRun::observe() {
    AIInterviewDetailController::Observer observer;
    observer.recognitionStarted = [this] {
        heard_.start();
        quiet_.stop();
    };
    observer.partial = [this](const KXTranslationHistoryDetailsModel& row, int index) {
        unfinished_ = row.sourceText;
        report_.partial(index + 1, row.sourceText, row.resultText);
        settleSoon();
    };
    observer.final = [this](const KXTranslationHistoryDetailsModel& row, int index) {
        rows_ = index + 1;
        unfinished_.clear();
        report_.row(rows_, row.sourceText, row.resultText);
        settleSoon();
    };
    observer.missed = [this](int seconds) {
        report_.missed(seconds);
        settleSoon();
    };
    observer.asked = [this](const std::shared_ptr<StreamModel>& model) {
        const int answer = static_cast<int>(model->id) + 1;
        growing_.insert(answer);
        report_.asked(answer, model->txt);
        model->setDidComplete([self = QPointer<SessionRun>(this), answer](const QString&) {
            onMain(self, [self, answer] {
                if (self->growing_.erase(answer) == 0)
                    return; // it was told of when the session ended
                self->report_.answered(answer);
                self->settleSoon();
            });
        });
    };
    observer.answerGrew = [this](const std::shared_ptr<StreamModel>& model) {
        report_.answerGrew(static_cast<int>(model->id) + 1, model->responseText());
        settleSoon();
    };
    observer.recognitionError = [this](const QString& text) {
        recognitionFailed_ = true;
        soundOver_ = true; // nothing more will be heard
        report_.problem(text);
        settleSoon();
    };
    controller_->setObserver(std::move(observer));
}

void SessionRun::soundEnded() {
    soundOver_ = true;
    if (controller_)
        controller_->stopClock();
    settleSoon();
}

void SessionRun::settleSoon() {
    if (!soundOver_ || closing_)
        return;
    const bool waits = !growing_.empty() || ((!unfinished_.isEmpty() || recognitionLags()) && !recognitionFailed_);
    quiet_.start(waits ? pieceMilliseconds : quietMilliseconds);
}

// Nothing more happens, because the sound is over or was never heard.
void SessionRun::settle() {
    if (!heard_.isValid())
        report_.problem(didNotStart.here());
    else if (recognitionLags() && !std::exchange(recognitionFailed_, true))
        report_.problem(endNotRecognised.here(status_.recognition().details.here()));
    if (line_.headless && line_.manual && controller_->hasCollectedQuestions()) {
        controller_->aiResponseTapped();
        return;
    }
    if (!growing_.empty())
        report_.problem(answerDidNotEnd.here());
    writeScreenshot();
    if (line_.headless)
        closeSession();
}

void SessionRun::interrupt() {
    if (window_)
        closeSession();
    else
        giveUp(wasInterrupted.here(), statusNotRun);
}

void SessionRun::closeSession() { window_->close(); }

bool SessionRun::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_.get() && event->type() == QEvent::Close && !closing_) {
        closing_ = true;
        quiet_.stop();
        if (!soundOver_)
            writeScreenshot();
        onMain(QPointer<SessionRun>(this), [this] { putAway(); });
    }
    return QObject::eventFilter(watched, event);
}

// After the window's own close sequence, which stops its services in the background.
void SessionRun::putAway() {
    if (stops_)
        consoleLog(QStringLiteral("主线程最长停顿：%1 毫秒").arg(stops_->longestStop()));
    stops_.reset();
    waitForBackground();
    keep(settings_);
    if (!unfinished_.isEmpty())
        warn(cutOff.here(unfinished_));
    for (const int answer : std::exchange(growing_, {})) {
        report_.answered(answer);
        warn(answerCutOff.here(QString::number(answer)));
    }
    const bool ran = heard_.isValid() && !recognitionFailed_ && !soundFailed_ && !pictureFailed_;
    report_.ended((rows_ == 1 ? oneSentence : manySentences)
                      .here(QString::number(rows_), QString::number(heardSeconds(), 'f', 1)));
    onMain(QPointer<SessionRun>(this), [this, ran] { finished_(ran ? statusDone : statusNotRun); });
}

void SessionRun::giveUp(const QString& problem, int status) {
    report_.problem(problem);
    // Later: the caller may be the service or the sign-in, which the owner will destroy.
    onMain(QPointer<SessionRun>(this), [this, status] { finished_(status); });
}

void SessionRun::writeScreenshot() {
    if (line_.screenshot.isEmpty())
        return;
    QSaveFile file(line_.screenshot); // a full disk leaves no half a picture
    pictureFailed_ = !file.open(QIODevice::WriteOnly) || !window_->grab().save(&file, "PNG") || !file.commit();
    if (pictureFailed_)
        report_.problem(noPicture.here(line_.screenshot));
}

} // namespace parlowen
