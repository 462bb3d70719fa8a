#include "SpeechVerdict.h"

#include <QRegularExpression>
#include <algorithm>
#include <array>

namespace parlowen {

namespace {

struct Advice {
    int code;
    SPXTrouble trouble;
    Phrase check;
};

constexpr Phrase languages{
    "the service does not take these settings: check the recognition language and the target language",
    "服务不接受这些设置：请检查识别语言和翻译语言"};
constexpr Phrase rights{
    "the service denies access: check the rights and the quota of the account that the token belongs to",
    "服务拒绝访问：请检查令牌所属账户的权限和额度"};

constexpr std::array fatalCloses = {
    Advice{1002,
           SPXTrouble::NoSuchService,
           {"the service saw a protocol error: check that the address is that of a speech service",
            "服务认为协议有误：请确认该地址是识别服务"}},
    Advice{1003,
           SPXTrouble::NoSuchService,
           {"the service does not take this kind of data: check that the address is that of a speech service",
            "服务不接受此类数据：请确认该地址是识别服务"}},
    Advice{1007, SPXTrouble::BadSettings, languages},
    Advice{4000,
           SPXTrouble::SessionRefused,
           {"the service refused the session: check the languages and the token", "服务拒绝了会话：请检查语言和令牌"}},
};

constexpr std::array fatalStatuses = {
    Advice{400, SPXTrouble::BadSettings, languages},
    Advice{401,
           SPXTrouble::TokenRefused,
           {"the service does not take the token: check that it is of this region and not older than 10 minutes",
            "服务不接受令牌：请确认它属于该区域且未超过 10 分钟"}},
    Advice{403, SPXTrouble::Denied, rights},
    Advice{404,
           SPXTrouble::NoSuchService,
           {"there is no such service: check the region or the address of the speech service",
            "没有这样的服务：请检查识别服务的区域或地址"}},
};

constexpr Phrase tooManySessions{"the service has too many sessions: check the quota of the account",
                                 "服务的会话过多：请检查账户的额度"};

template<class Table>
const Advice* adviceFor(const Table& table, int code) {
    const auto* const found =
        std::find_if(table.begin(), table.end(), [code](const Advice& a) { return a.code == code; });
    return found == table.end() ? nullptr : found;
}

/// What happened, with the service's own words for it.
BilingualText withReason(const BilingualText& what, const QString& reason) {
    if (reason.isEmpty())
        return what;
    return {QString("%1 (%2)").arg(what.english, reason), QString("%1（%2）").arg(what.chinese, reason)};
}

BilingualText advised(const BilingualText& what, const Phrase& check) {
    return {what.english + ": " + check.in(Language::English), what.chinese + "：" + check.in(Language::Chinese)};
}

} // namespace

SpeechVerdict afterClose(int code, const QString& reason) {
    constexpr Phrase ended{"the service ended the connection: it is tried again", "服务结束了连接：会再次尝试"};
    constexpr Phrase closeCode{"WebSocket close code %1", "WebSocket 关闭代码 %1"};
    // QWebSocket reports so a code that it does not know itself, 1012 (the service restarts) among them.
    if (code == 1002 && reason.startsWith("Invalid close code"))
        return {true, SPXTrouble::ServiceFailed, advised(closeCode.both("≥ 1012"), ended)};
    const BilingualText what = withReason(closeCode.both(QString::number(code)), reason);
    if (const Advice* advice = adviceFor(fatalCloses, code))
        return {false, advice->trouble, advised(what, advice->check)};
    // 1006: the connection broke off without a close.
    return {true, code == 1006 ? SPXTrouble::NoConnection : SPXTrouble::ServiceFailed, advised(what, ended)};
}

SpeechVerdict afterHttpStatus(int status) {
    const BilingualText what = Phrase{"HTTP status %1", "HTTP 状态 %1"}.both(QString::number(status));
    if (const Advice* advice = adviceFor(fatalStatuses, status))
        return {false, advice->trouble, advised(what, advice->check)};
    if (status == 429)
        return {true, SPXTrouble::Busy, advised(what, tooManySessions)};
    // Other refusals of the client's making do not get better with time, failures of the server may.
    const bool clientsFault = status >= 300 && status < 500;
    return {!clientsFault,
            clientsFault    ? SPXTrouble::NoSuchService
            : status == 503 ? SPXTrouble::Busy
                            : SPXTrouble::ServiceFailed,
            advised(what, {"the service did not open the connection: check its address",
                           "服务没有建立连接：请检查它的地址"})};
}

SpeechVerdict afterNetworkFailure(const BilingualText& problem) {
    constexpr Phrase noConnection{"No connection: %1: check the network and the address of the speech service",
                                  "无法连接：%1：请检查网络和识别服务的地址"};
    return {true,
            SPXTrouble::NoConnection,
            {noConnection.in(Language::English, problem.english), noConnection.in(Language::Chinese, problem.chinese)}};
}

SpeechVerdict afterUntrustedCertificate(const QString& problem) {
    constexpr Phrase untrusted{"TLS: %1: check whose certificate the speech service shows, and the clock",
                               "TLS：%1：请检查识别服务的证书和本机的时间"};
    return {false, SPXTrouble::UntrustedService, untrusted.both(problem)};
}

SpeechVerdict afterRecognitionStatus(const QString& status, const QString& reason) {
    const BilingualText what = withReason(Phrase{"Recognition status %1", "识别状态 %1"}.both(status), reason);
    if (status == "TooManyRequests")
        return {true, SPXTrouble::Busy, advised(what, tooManySessions)};
    if (status == "BadRequest")
        return {false, SPXTrouble::BadSettings, advised(what, languages)};
    if (status == "Forbidden")
        return {false, SPXTrouble::Denied, advised(what, rights)};
    return {true, SPXTrouble::ServiceFailed,
            advised(what, {"the service failed: check its state", "服务出错：请检查它的状态"})};
}

std::optional<int> httpStatusIn(const QString& webSocketError) {
    static const QRegularExpression handshake("^QWebSocket(Private)?::processHandshake:");
    if (!webSocketError.contains(handshake))
        return std::nullopt;
    // From Qt 6.6 on a 401 is not named: it is told as a challenge that nobody met.
    static const QRegularExpression challenge("requires authentication|WWW-Authenticate");
    if (webSocketError.contains(challenge))
        return 401;
    static const QRegularExpression number("\\b[1-5][0-9][0-9]\\b");
    const QRegularExpressionMatch match = number.match(webSocketError);
    // Status 400 is the one for which it has a text without the number.
    return match.hasMatch() ? match.captured().toInt() : 400;
}

} // namespace parlowen
