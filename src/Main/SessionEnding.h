#pragma once

#include <Page/AIInterviewPages/SessionEvent.h>
#include <Tools/SessionStatus.h>

#include <QObject>
#include <QTimer>
#include <set>

namespace parlowen {

/// Decides when a session has nothing more to wait for: its sound is over or was never heard, and nothing that was said
/// or asked is still on its way. Main thread only.
class SessionEnding : public QObject {
    Q_OBJECT
public:
    /// The status outlives it.
    explicit SessionEnding(const SessionStatus& status);

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
    QTimer quiet_;
    std::set<int> growing_; ///< numbers of the answers that are not complete
    QString unfinished_;
    bool heardWords_ = false;
    bool soundOver_ = false;
    bool lagged_ = false;
    bool stopped_ = false;
};

} // namespace parlowen
