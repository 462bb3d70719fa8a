#pragma once

#include <Foundation/Phrase.h>

#include <QString>
#include <optional>

#include "SPXRecognitionResult.h"

namespace parlowen {

/// What follows from the loss of a connection.
struct SpeechVerdict {
    bool reconnect = false; ///< whether another attempt with the same token and settings may help
    SPXTrouble trouble = SPXTrouble::ServiceFailed;
    BilingualText details; ///< the code and what to check
};

/// After the service closed the socket with this code; `reason` is its own text, often empty.
SpeechVerdict afterClose(int code, const QString& reason);

/// After the service answered the upgrade with this status.
SpeechVerdict afterHttpStatus(int status);

/// After a failure to reach the service or to hear from it.
SpeechVerdict afterNetworkFailure(const BilingualText& problem);

/// After a certificate that is not trusted.
SpeechVerdict afterUntrustedCertificate(const QString& problem);

/// After a recognition status that ends the session; `reason` is the service's own text, often empty.
SpeechVerdict afterRecognitionStatus(const QString& status, const QString& reason);

/// The status with which an upgrade was refused, out of the text in which QWebSocket (6.4 to 6.8) reports it; it has
/// no other way. None when the text is about something else.
std::optional<int> httpStatusIn(const QString& webSocketError);

} // namespace parlowen
