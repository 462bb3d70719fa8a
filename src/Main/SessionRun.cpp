#include "SessionRun.h"

#include "Composition.h"
#include "WatchedSource.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/Phrase.h>
#include <Network/LanguageList.h>
#include <Tools/SessionStatusText.h>

#include <QRegularExpression>
#include <QSaveFile>
#include <QScreen>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace parlowen {

namespace {

constexpr Phrase signedOut{"the backend no longer takes the sign-in", "后端不再接受当前的登录"};
constexpr Phrase didNotStart{"recognition did not start", "识别没有开始"};
constexpr Phrase endNotRecognised{"the end was not recognised. %1", "结尾没有被识别。%1"};
constexpr Phrase nothingUnderstood{"no words were understood in it", "其中没有听清任何话"};
constexpr Phrase answerDidNotEnd{"an answer did not end", "有一个回答没有结束"};
constexpr Phrase answerFailed{"answer %1 failed: %2", "第 %1 个回答失败：%2"};
constexpr Phrase onStandardError{"parlowen: %1\n", "parlowen：%1\n"};
constexpr Phrase nobodyAsks{"questions are collected, but without a window there is no button that asks them",
                            "问题会被收集，但没有窗口就没有“回答”按钮，不会提问"};
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
constexpr int statusUnanswered = 3;

using State = RecognitionStatus::State;

} // namespace

SessionRun::SessionRun(CommandLine line, SessionReport& report, SessionSettings& settings, Composition& composition,
                       std::function<void(int)> finished)
    : line_(std::move(line))
    , report_(report)
    , finished_(std::move(finished))
    , settings_(settings)
    , composition_(composition)
    , ending_(status_) {
    connect(&ending_, &SessionEnding::settled, this, &SessionRun::settle);
}

SessionRun::~SessionRun() {
    if (session_)
        session_->disconnect(this);
    composition_.setHooks({});
}

double SessionRun::heardSeconds() const {
    return heard_.isValid() ? static_cast<double>(heard_.elapsed()) / 1000 : 0.0;
}

void SessionRun::begin() {
    if (const Result<void> playable = checkSound(); !playable) {
        giveUp(playable.error(), statusBadInput);
        return;
    }
    report_.tell(session::Started{soundName()});
    if (const Result<void>& used = settings_.stored(); !used)
        fail(used.error());
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
        if (session_)
            session_->setServiceStarting(!serves);
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
        hooks.alert = Composition::alertInPassing();
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
    requestLanguages(composition_.http(), 1, this, [this](const auto& spoken) {
        spoken_ = spoken.value_or(std::vector<LanguageListModel>());
        requestLanguages(composition_.http(), 2, this, [this](const auto& targets) {
            settings_.applyLanguages(line_, spoken_, targets.value_or(std::vector<LanguageListModel>()));
            openSession();
        });
    });
}

void SessionRun::openSession() {
    if (const Result<void> prepared = prepareSound(); !prepared) {
        giveUp(prepared.error(), statusNotRun);
        return;
    }
    startSession();
    connect(&status_, &SessionStatus::recognitionChanged, this, &SessionRun::reportStatus);
    connect(&status_, &SessionStatus::inputChanged, this, &SessionRun::reportStatus);
    if (line_.verbose)
        stops_.emplace();
    if (endsByItself())
        ending_.awaitStart();
    else if (line_.headless && line_.manual)
        warn(nobodyAsks.here());
}

// What a session has to say comes later, with its first token.
void SessionRun::startSession() {
    auto session = std::make_unique<AIInterviewDetailController>(
        composition_.sessionServices(watchedCapture(), router(), status_));
    session_ = session.get();
    if (line_.showsWindow()) {
        window_ = composition_.openWindow(std::move(session));
        if (!line_.headless)
            sayIfSecond();
        window_->show();
    } else {
        windowless_ = std::move(session);
        windowless_->viewDidLoad();
    }
    connect(session_, &AIInterviewDetailController::happened, this, &SessionRun::note);
    connect(session_, &AIInterviewDetailController::closing, this, &SessionRun::sessionCloses);
}

void SessionRun::sayIfSecond() {
    presence_.emplace();
    if (!presence_->isSecond())
        return;
    warn(anotherSession.here());
    window_->addStatusNote(anotherSession.both());
    // Not exactly over the first one's window.
    constexpr QPoint beside(48, 48);
    window_->move(window_->screen()->availableGeometry().center() - window_->rect().center() + beside);
}

void SessionRun::reportStatus() {
    if (const BilingualText& details = status_.recognition().details; !details.isEmpty())
        lastTrouble_ = details.here();
    const SessionStatusText now = sessionStatusText(status_.input(), status_.recognition(), terminalLanguage());
    // Seconds that are counted are no news.
    static const QRegularExpression number(QStringLiteral("\\d+"));
    const QString words = QString(now.text).remove(number);
    if (now.severity != SessionStatusText::Severity::Problem && status_.recognition().state == State::Recognizing)
        lastProblem_.clear();
    if (session_->isClosing() || words == std::exchange(lastStatus_, words))
        return;
    report_.tell(session::Status{now.text, now.severity == SessionStatusText::Severity::Plain});
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
    fail(problem);
    soundEnded();
}

// A request that is made again and again fails in the same way each time.
void SessionRun::requestFailed(const QString& problem) {
    if (std::exchange(lastProblem_, problem) != problem)
        fail(problem);
}

void SessionRun::note(const SessionEvent& event) {
    if (std::holds_alternative<session::Recognizing>(event))
        heard_.start();
    if (const auto* sentence = std::get_if<session::Sentence>(&event)) {
        rows_ = sentence->number;
        lastTrouble_.clear();
    }
    report_.tell(event);
    if (const auto* answer = std::get_if<session::AnswerEnded>(&event))
        answerEnded(*answer);
    ending_.note(event);
}

void SessionRun::answerEnded(const session::AnswerEnded& answer) {
    const QString number = QString::number(answer.number);
    if (answer.end.outcome == AnswerEnd::Outcome::Cancelled)
        warn(answerCutOff.here(number));
    if (answer.end.outcome != AnswerEnd::Outcome::Failed)
        return;
    answerIsMissing(answerFailed.here(number, answerFailureText(answer.end, terminalLanguage())));
}

void SessionRun::answerIsMissing(const QString& problem) {
    unanswered_ = true;
    fail(problem);
    // Those who look at the terminal have it before them.
    if (line_.json || ::isatty(STDOUT_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0)
        std::fputs(onStandardError.here(problem).toUtf8().constData(), stderr);
}

void SessionRun::soundEnded() {
    if (session_)
        session_->endSound();
    ending_.soundEnded();
}

// Nothing more happens, because the sound is over or was never heard.
void SessionRun::settle() {
    if (!heard_.isValid())
        fail(didNotStart.here());
    else if (ending_.recognitionLags())
        endIsMissing();
    else if (!ending_.heardWords() && !std::exchange(emptyTold_, true))
        warn(nothingUnderstood.here());
    if (line_.headless && line_.manual && session_->hasCollectedQuestions()) {
        session_->aiResponseTapped();
        return;
    }
    if (ending_.isAnswering() && !std::exchange(answerMissing_, true))
        answerIsMissing(answerDidNotEnd.here());
    writeScreenshot();
    if (line_.headless)
        closeSession();
}

void SessionRun::endIsMissing() {
    if (!std::exchange(endMissing_, true))
        fail(endNotRecognised.here(lastTrouble_).trimmed());
}

void SessionRun::interrupt() {
    if (session_)
        closeSession();
    else
        giveUp(wasInterrupted.here(), statusNotRun);
}

void SessionRun::closeSession() {
    if (window_)
        window_->end();
    else
        session_->windowWillClose();
}

void SessionRun::sessionCloses() {
    ending_.stop();
    if (!ending_.isSoundOver())
        writeScreenshot();
    onMain(QPointer<SessionRun>(this), [this] { putAway(); });
}

// After the session's own close sequence, which stops its services in the background.
void SessionRun::putAway() {
    if (stops_)
        consoleLog(QStringLiteral("主线程最长停顿：%1 毫秒").arg(stops_->longestStop()));
    stops_.reset();
    waitForBackground();
    keep(settings_);
    if (!ending_.unfinished().isEmpty())
        warn(cutOff.here(ending_.unfinished()));
    report_.tell(session::Ended{(rows_ == 1 ? oneSentence : manySentences)
                                    .here(QString::number(rows_), QString::number(heardSeconds(), 'f', 1))});
    onMain(QPointer<SessionRun>(this), [this, status = exitStatus()] { finished_(status); });
}

int SessionRun::exitStatus() const {
    if (!heard_.isValid() || ending_.recognitionStopped() || endMissing_ || soundFailed_ || pictureFailed_)
        return statusNotRun;
    return line_.headless && unanswered_ ? statusUnanswered : statusDone;
}

void SessionRun::giveUp(const QString& problem, int status) {
    fail(problem);
    // Later: the caller may be the service or the sign-in, which the owner will destroy.
    onMain(QPointer<SessionRun>(this), [this, status] { finished_(status); });
}

void SessionRun::writeScreenshot() {
    if (line_.screenshot.isEmpty())
        return;
    QSaveFile file(line_.screenshot); // a full disk leaves no half a picture
    pictureFailed_ = !file.open(QIODevice::WriteOnly) || !window_->grab().save(&file, "PNG") || !file.commit();
    if (pictureFailed_)
        fail(noPicture.here(line_.screenshot));
}

} // namespace parlowen
