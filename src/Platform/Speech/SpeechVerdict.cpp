#include "SpeechVerdict.h"

#include <QRegularExpression>
#include <algorithm>
#include <array>

namespace parlowen {

namespace {

struct Advice {
    int code;
    SPXTrouble trouble;
    const char* check;
};

constexpr std::array fatalCloses = {
    Advice{1002, SPXTrouble::NoSuchService,
           "the service saw a protocol error: check that the address is that of a speech service"},
    Advice{1003, SPXTrouble::NoSuchService,
           "the service does not take this kind of data: check that the address is that of a speech service"},
    Advice{1007, SPXTrouble::BadSettings,
           "the service does not take these settings: check the recognition language and the target language"},
    Advice{4000, SPXTrouble::SessionRefused, "the service refused the session: check the languages and the token"},
};

constexpr std::array fatalStatuses = {
    Advice{400, SPXTrouble::BadSettings,
           "the service does not take the request: check the recognition language and the target language"},
    Advice{401, SPXTrouble::TokenRefused,
           "the service does not take the token: check that it is of this region and not older than 10 minutes"},
    Advice{403, SPXTrouble::Denied,
           "the service denies access: check the rights and the quota of the account that the token belongs to"},
    Advice{404, SPXTrouble::NoSuchService,
           "there is no such service: check the region or the address of the speech service"},
};

template<class Table>
const Advice* adviceFor(const Table& table, int code) {
    const auto* const found =
        std::find_if(table.begin(), table.end(), [code](const Advice& a) { return a.code == code; });
    return found == table.end() ? nullptr : found;
}

QString withReason(const QString& what, const QString& reason) {
    return reason.isEmpty() ? what : QString("%1 (%2)").arg(what, reason);
}

} // namespace

SpeechVerdict afterClose(int code, const QString& reason) {
    // QWebSocket reports so a code that it does not know itself, 1012 (the service restarts) among them.
    if (code == 1002 && reason.startsWith("Invalid close code"))
        return {true, SPXTrouble::ServiceFailed,
                "WebSocket close code 1012 or above: the service ended the connection"};
    const QString what = withReason(QString("WebSocket close code %1").arg(code), reason);
    if (const Advice* advice = adviceFor(fatalCloses, code))
        return {false, advice->trouble, what + ": " + advice->check};
    // 1006: the connection broke off without a close.
    return {true, code == 1006 ? SPXTrouble::NoConnection : SPXTrouble::ServiceFailed,
            what + ": the service ended the connection"};
}

SpeechVerdict afterHttpStatus(int status) {
    const QString what = QString("HTTP status %1").arg(status);
    if (const Advice* advice = adviceFor(fatalStatuses, status))
        return {false, advice->trouble, what + ": " + advice->check};
    if (status == 429)
        return {true, SPXTrouble::Busy, what + ": the service has too many sessions at the moment"};
    // Other refusals of the client's making do not get better with time, failures of the server may.
    const bool clientsFault = status >= 300 && status < 500;
    return {!clientsFault,
            clientsFault    ? SPXTrouble::NoSuchService
            : status == 503 ? SPXTrouble::Busy
                            : SPXTrouble::ServiceFailed,
            what + ": the service did not open the connection: check its address"};
}

SpeechVerdict afterNetworkFailure(const QString& problem) {
    return {true, SPXTrouble::NoConnection,
            QString("No connection: %1: check the network and the address of the speech service").arg(problem)};
}

SpeechVerdict afterUntrustedCertificate(const QString& problem) {
    return {false, SPXTrouble::UntrustedService,
            QString("TLS: %1: check whose certificate the speech service shows, and the clock").arg(problem)};
}

SpeechVerdict afterRecognitionStatus(const QString& status, const QString& reason) {
    const QString what = withReason("Recognition status " + status, reason);
    if (status == "TooManyRequests")
        return {true, SPXTrouble::Busy, what + ": the service has too many sessions: check the quota of the account"};
    if (status == "BadRequest")
        return {false, SPXTrouble::BadSettings, what + ": check the recognition language and the target language"};
    if (status == "Forbidden")
        return {false, SPXTrouble::Denied,
                what + ": check the rights and the quota of the account that the token belongs to"};
    return {true, SPXTrouble::ServiceFailed, what + ": the service failed: check its state"};
}

std::optional<int> httpStatusIn(const QString& webSocketError) {
    if (!webSocketError.startsWith("QWebSocketPrivate::processHandshake:"))
        return std::nullopt;
    static const QRegularExpression number("\\b[1-5][0-9][0-9]\\b");
    const QRegularExpressionMatch match = number.match(webSocketError);
    // Status 400 is the one for which it has a text without the number.
    return match.hasMatch() ? match.captured().toInt() : 400;
}

} // namespace parlowen
