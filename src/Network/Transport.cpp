#include "Transport.h"

#include <Foundation/ChosenLanguage.h>
#include <Foundation/Phrase.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QSslCertificate>

namespace parlowen {

namespace {

void addEntry(QByteArrayList& entries, const QString& key, const QJsonValue& value) {
    if (value.isArray()) {
        for (const QJsonValue element : value.toArray())
            addEntry(entries, key + "[]", element);
    } else if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto member = object.begin(); member != object.end(); ++member)
            addEntry(entries, QString("%1[%2]").arg(key, member.key()), member.value());
    } else {
        const QString text = value.isBool() ? QString::number(int(value.toBool())) : value.toVariant().toString();
        entries << QUrl::toPercentEncoding(key) + '=' + QUrl::toPercentEncoding(text);
    }
}

/// The library reports HTTP error statuses as errors of these kinds.
bool isStatusError(QNetworkReply::NetworkError error) {
    return (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError) ||
           error == QNetworkReply::ProtocolInvalidOperationError ||
           (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
}

bool isTimeout(QNetworkReply::NetworkError error) {
    // A transfer that ran out of time is cancelled by the library; nobody else cancels one.
    return error == QNetworkReply::TimeoutError || error == QNetworkReply::OperationCanceledError;
}

bool isUsable(const QByteArray& flags, const QByteArray& interface) {
    constexpr uint up = 0x1, reject = 0x200; // RTF_UP, RTF_REJECT of linux/route.h
    return (flags.toUInt(nullptr, 16) & (up | reject)) == up && interface != "lo";
}

QByteArray contentOf(const char* path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

QByteArray encodedQuery(const QJsonObject& params) {
    QByteArrayList entries;
    for (auto member = params.begin(); member != params.end(); ++member) // the object keeps its keys sorted
        addEntry(entries, member.key(), member.value());
    return entries.join('&');
}

QString fullUrl(const QString& base, const QString& path) {
    const bool whole = path.startsWith("http://") || path.startsWith("https://");
    return whole ? path : base + path;
}

std::optional<QUrl> requestUrl(const QString& base, const QString& path, const QByteArray& query) {
    QString text = fullUrl(base, path);
    if (!query.isEmpty())
        text += (text.contains('?') ? '&' : '?') + QString::fromLatin1(query);
    const QUrl url(text);
    const bool usable = url.isValid() && !url.host().isEmpty() && (url.scheme() == "http" || url.scheme() == "https");
    return usable ? std::optional(url) : std::nullopt;
}

QSslConfiguration sslConfiguration(const LocalTrust& trust, const QUrl& url) {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (trust.covers(url.host())) // adding, unlike setting, leaves the system's to be looked up when they are needed
        configuration.addCaCertificates(QSslCertificate::fromData(trust.certificateAuthority, QSsl::Pem));
    return configuration;
}

void nameLanguage(QNetworkRequest& request) {
    request.setRawHeader("Accept-Language", windowLanguage() == Language::English ? "en" : "zh-Hans");
}

void keepAtOrigin(QNetworkRequest& request) {
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
}

void authorize(QNetworkRequest& request, const QString& token) {
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    keepAtOrigin(request);
}

bool isTransportFailure(const QNetworkReply& reply) {
    if (reply.error() == QNetworkReply::NoError)
        return false;
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status < 400 || !isStatusError(reply.error());
}

BilingualText transportErrorDescription(const QNetworkReply& reply) {
    constexpr Phrase late{"the request timed out", "请求超时"};
    constexpr Phrase ownAuthority{"%1 (of a service of your own, this system has to trust the tls/ca.pem)",
                                  "%1（自建的服务，要先让本系统信任它的 tls/ca.pem）"};
    constexpr Phrase moved{
        "the server sends requests on to another address; if that is right, give it in place of this one",
        "服务器要把请求转到另一个地址，若无误，请改用那个地址"};
    if (reply.error() == QNetworkReply::InsecureRedirectError)
        return moved.both();
    const bool isUntrusted = reply.error() == QNetworkReply::SslHandshakeFailedError;
    if (isUntrusted && isLoopbackHost(reply.url().host()))
        return ownAuthority.both(reply.errorString());
    return isTimeout(reply.error()) ? late.both() : BilingualText(reply.errorString(), reply.errorString());
}

BilingualText undecodableDescription(const QNetworkReply& reply) {
    constexpr Phrase foreign{"the server's reply cannot be read (HTTP %1)", "服务器的回复无法识别（HTTP %1）"};
    return foreign.both(reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt());
}

QString transportAlertText(QNetworkReply::NetworkError error, const BilingualText& description, bool online) {
    if (isTimeout(error))
        return QCoreApplication::translate("Transport", "请求超时，请重试");
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return QCoreApplication::translate("Transport", "无法连接到服务器，请稍后再试");
    case QNetworkReply::UnknownNetworkError: // no route to the host or to its network
        return online ? QCoreApplication::translate("Transport", "无法连接到服务器，请稍后再试")
                      : QCoreApplication::translate("Transport", "网络未连接，请检查你的网络设置");
    case QNetworkReply::HostNotFoundError:
        if (online)
            break;
        [[fallthrough]];
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return QCoreApplication::translate("Transport", "网络未连接，请检查你的网络设置");
    default:
        break;
    }
    return QCoreApplication::translate("Transport", "请求失败：%1").arg(description.in(windowLanguage()));
}

bool hasRoute(const QByteArray& ipv4, const QByteArray& ipv6) {
    // /proc/net/route: interface, destination, gateway, flags … mask (the eighth), all but the name in hexadecimal.
    for (const QByteArray& line : ipv4.split('\n')) {
        const QByteArrayList fields = line.simplified().split(' ');
        if (fields.size() > 7 && fields[1] == "00000000" && fields[7] == "00000000" && isUsable(fields[3], fields[0]))
            return true;
    }
    // /proc/net/ipv6_route: destination, its length … flags (the ninth), interface.
    for (const QByteArray& line : ipv6.split('\n')) {
        const QByteArrayList fields = line.simplified().split(' ');
        if (fields.size() > 9 && fields[1] == "00" && isUsable(fields[8], fields[9]))
            return true;
    }
    return false;
}

bool isOnline() { return hasRoute(contentOf("/proc/net/route"), contentOf("/proc/net/ipv6_route")); }

} // namespace parlowen
