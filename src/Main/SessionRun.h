#pragma once

#include "CommandLine.h"
#include "MainThreadWatch.h"
#include "SessionEnding.h"
#include "SessionReport.h"
#include "SessionSettings.h"
#include "SessionSignIn.h"

#include <AVFoundation/CaptureSource.h>
#include <Foundation/Result.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Tools/SessionPresence.h>
#include <Tools/SessionStatus.h>

#include <QElapsedTimer>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace parlowen {

class AudioRouting;
class Composition;

/// One session, from the command line to its exit status: finds or starts the backend, signs in, chooses the languages,
/// runs the session on some sound, in its window or without one, reports what happens, and puts everything away. Where
/// the sound comes from is the derived classes' business. Main thread only.
class SessionRun : public QObject {
public:
    /// `finished` is called once with the exit status, when everything is put away.
    /// The composition is the program's, and works on these settings.
    SessionRun(CommandLine line, SessionReport& report, SessionSettings& settings, Composition& composition,
               std::function<void(int)> finished);
    ~SessionRun() override;

    void begin();
    /// Ends the session as if its window were closed.
    void interrupt();
    /// Seconds since recognition started; 0 before.
    double heardSeconds() const;

protected:
    const CommandLine& line() const { return line_; }
    /// What is heard and recognised.
    SessionStatus& status() { return status_; }
    /// What is heard, for the report.
    virtual QString soundName() const = 0;
    /// Fails, in plain words, when there is nothing to hear.
    virtual Result<void> checkSound() const = 0;
    virtual CaptureSourceFactory capture() = 0;
    virtual AudioRouting& router() = 0;
    /// What is done with the audio devices before the window opens. Fails when it need not open.
    virtual Result<void> prepareSound() { return {}; }
    /// Called at the end, when the window's settings are what they stay.
    virtual void keep(SessionSettings&) {}
    /// Reports what keeps the session from hearing what it should, though it goes on.
    void warn(const QString& text) { report_.tell(session::Warning{text}); }
    /// Whether the session ends with its sound, so that a service that does not come ends it too.
    virtual bool endsByItself() const { return false; }
    /// The sound is over; the session ends once everything is said.
    void soundEnded();

private:
    void connectBackend();
    void signIn(const LocalTrust& trust);
    void loadLanguages();
    void openSession();
    void startSession();
    void note(const SessionEvent& event);
    void answerIsMissing(const QString& problem);
    void answerEnded(const session::AnswerEnded& answer);
    void sayIfSecond();
    CaptureSourceFactory watchedCapture();
    void soundFailed(const QString& problem);
    void requestFailed(const QString& problem);
    void fail(const QString& text) { report_.tell(session::Problem{text}); }
    void reportStatus();
    void settle();
    void endIsMissing();
    void closeSession();
    void putAway();
    void giveUp(const QString& problem, int status);
    void sessionCloses();
    int exitStatus() const;
    void writeScreenshot();

    CommandLine line_;
    SessionReport& report_;
    std::function<void(int)> finished_;
    SessionStatus status_;
    SessionSettings& settings_;
    Composition& composition_;
    std::unique_ptr<SessionSignIn> signIn_;
    std::optional<SessionPresence> presence_; ///< while the window is open
    SessionEnding ending_;
    std::unique_ptr<SessionWindow> window_;                   ///< null without one
    std::unique_ptr<AIInterviewDetailController> windowless_; ///< the session, without a window
    QPointer<AIInterviewDetailController> session_;           ///< in either case, once it is open
    std::vector<LanguageListModel> spoken_;
    std::optional<MainThreadWatch> stops_; ///< while the session runs, for the log
    QElapsedTimer heard_;
    int rows_ = 0;
    QString lastProblem_; ///< of a request
    QString lastStatus_;  ///< as reported
    QString lastTrouble_; ///< of recognition, more exactly
    bool soundFailed_ = false;
    bool endMissing_ = false; ///< the last of the sound was not recognised
    bool answerMissing_ = false;
    bool emptyTold_ = false;
    bool unanswered_ = false;
    bool pictureFailed_ = false;
};

} // namespace parlowen
