#pragma once

#include <Foundation/Phrase.h>

#include <QMap>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

namespace parlowen {

/// What was heard: a sentence in progress or a finished one.
struct SPXRecognitionResult {
    std::optional<QString> text;         ///< none when nothing was recognized, such as after silence
    QMap<QString, QString> translations; ///< by target language as it was asked for; plain recognition has none
};

struct SPXRecognitionEvent {
    SPXRecognitionResult result;
};

/// What keeps the service from recognizing.
enum class SPXTrouble : std::uint8_t {
    NoConnection,     ///< it cannot be reached, or does not answer
    Busy,             ///< it has too many sessions
    ServiceFailed,    ///< it ended the session, or failed
    TokenRefused,     ///< it does not take the token
    Denied,           ///< the token gives no right, or its quota is used up
    SessionRefused,   ///< it does not take the session: the token or the settings
    BadSettings,      ///< it does not take the languages
    NoSuchService,    ///< there is no speech service at that address
    UntrustedService, ///< its certificate is not trusted
};

/// The end of a recognizer that cannot go on as it is.
struct SPXCanceledEvent {
    std::optional<BilingualText> errorDetails; ///< the code and what to check
    SPXTrouble trouble = SPXTrouble::ServiceFailed;
};

/// The service was reached, or lost; a lost one is tried again until it is reached.
struct SPXConnectionEvent {
    bool connected = false;
    SPXTrouble trouble = SPXTrouble::NoConnection; ///< unless connected
    BilingualText details;                         ///< the code and what to check; empty when connected
};

/// Sound is missing between what the results before this event heard and what those after it will hear.
struct SPXGapEvent {
    double seconds = 0;
};

using SPXRecognitionEventHandler = std::function<void(const SPXRecognitionEvent&)>;
using SPXCanceledEventHandler = std::function<void(const SPXCanceledEvent&)>;
using SPXConnectionEventHandler = std::function<void(const SPXConnectionEvent&)>;
using SPXGapEventHandler = std::function<void(const SPXGapEvent&)>;
using SPXSessionStoppedHandler = std::function<void()>;

} // namespace parlowen
