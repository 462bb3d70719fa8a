#pragma once

#include <AVFoundation/InputStatus.h>
#include <Foundation/Phrase.h>

#include <QObject>
#include <QString>
#include <cstdint>
#include <memory>

namespace parlowen {

/// How it stands with the recognition of a session. A value.
struct RecognitionStatus {
    enum class State : std::uint8_t {
        Starting,     ///< a token or a first connection is awaited
        Recognizing,  ///< what is captured is being recognised
        Reconnecting, ///< the service is out of reach for now; captured sound is kept
        Stopped,      ///< it will not go on by itself
        Finished,     ///< the sound is over, and all that was captured of it is recognised
    };
    /// Why it is reconnecting or has stopped.
    enum class Cause : std::uint8_t {
        None,
        NoNetwork,          ///< the service cannot be reached
        ServiceBusy,        ///< too many sessions, or a quota
        ServiceFailed,      ///< the service ended the session or failed
        LocalServiceStarts, ///< the local service is being started (anew)
        TokenMissing,       ///< the backend gives no token
        TokenRefused,       ///< the service does not take the token
        Denied,             ///< no right, or no quota left
        BadSettings,        ///< it does not take the languages
        NoSuchService,      ///< there is no speech service at that address
        UntrustedService,   ///< its certificate is not trusted
    };

    State state = State::Starting;
    Cause cause = Cause::None;
    BilingualText details;  ///< a code and what to check; empty without a cause
    int waitingSeconds = 0; ///< captured sound that still waits for the service, in whole seconds

    bool operator==(const RecognitionStatus&) const = default;
};

/// How far a level meter goes up for a peak (0 to 1, full scale): 0 for what is quieter than quiet speech, 1 for loud
/// speech, in decibels between.
double meterShare(float peak);

/// What a session hears, how its recognition keeps up, and what was missed: told by those who capture and recognise,
/// watched by those who show it. Main thread only.
class SessionStatus : public QObject {
    Q_OBJECT
public:
    explicit SessionStatus(QObject* parent = nullptr);

    const InputStatus& input() const { return input_; }
    const RecognitionStatus& recognition() const { return recognition_; }
    /// Where the capture notes its level; may be handed to other threads.
    const std::shared_ptr<InputMeter>& meter() const { return meter_; }

    /// Tells this status of a capture's input, for as long as it lives. To be handed to the capture.
    InputObserver inputObserver();
    void setInput(const InputStatus& input);
    void setRecognition(const RecognitionStatus& recognition);
    /// So many seconds of the call were not captured, or captured and lost before they were recognised.
    void addMissed(double seconds);
    /// The user wants to hear what that output plays.
    void chooseOutput(const QString& uid);

Q_SIGNALS:
    void inputChanged();
    void recognitionChanged();
    void missed(double seconds);
    void outputChosen(const QString& uid);

private:
    InputStatus input_;
    RecognitionStatus recognition_;
    const std::shared_ptr<InputMeter> meter_ = std::make_shared<InputMeter>();
};

} // namespace parlowen
