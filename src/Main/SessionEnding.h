#pragma once

#include <Page/AIInterviewPages/SessionEvent.h>
#include <Tools/SessionStatus.h>

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <set>

namespace parlowen {

/// Decides when a session has nothing more to wait for: its sound is over or was never heard, and nothing that was said
/// or asked is still on its way. Main thread only.
class SessionEnding : public QObject {
    Q_OBJECT
public:
    /// The status outlives it. `piece` is what an answer, or recognition that lags, may take from one piece to the next
    /// once the sound is over.
    explicit SessionEnding(const SessionStatus& status, std::chrono::milliseconds piece = std::chrono::minutes(1));

    /// From now on recognition has a minute to start.
    void awaitStart();
    /// The session hears nothing more.
    void soundEnded();
    /// Takes note of what happens in the session.
    void note(const SessionEvent& event);
    /// The session is being closed.
    void stop();

    bool isSoundOver() const { return soundOver_; }
    /// Something that was said has been understood, if only in part.
    bool heardWords() const { return heardWords_; }
    /// Sound that was captured may still become rows.
    bool recognitionLags() const;
    /// Recognition has stopped for good.
    bool recognitionStopped() const { return status_.recognition().state == RecognitionStatus::State::Stopped; }
    /// The sentence in progress; empty without one.
    const QString& unfinished() const { return unfinished_; }
    bool isAnswering() const { return !growing_.empty(); }

Q_SIGNALS:
    /// It waits no longer. What is asked thereupon is waited for again.
    void settled();

private:
    void recognitionChanged();
    void settleSoon();

    const SessionStatus& status_;
    const std::chrono::milliseconds piece_;
    QTimer quiet_;
    QDeadlineTimer nextPiece_; ///< once the sound is over: until when the next row, or piece of an answer, has to come
    std::set<int> growing_;    ///< numbers of the answers that are not complete
    QString unfinished_;
    bool heardWords_ = false;
    bool soundOver_ = false;
    bool lagged_ = false;
    bool stopped_ = false;
};

} // namespace parlowen
