#include "SpeechEndpoint.h"

#include <QRegularExpression>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QUrlQuery>
#include <mutex>
#include <utility>

namespace parlowen {

namespace {

struct Trust {
    std::mutex mutex;
    LocalTrust local;
};

Trust& trust() {
    static Trust instance;
    return instance;
}

QString domainOf(const QString& region) {
    if (region.startsWith("china"))
        return "azure.cn";
    if (region.startsWith("usgov"))
        return "azure.us";
    return "microsoft.com";
}

Result<QUrl> baseUrl(const QString& area) {
    const QUrl url(area, QUrl::StrictMode);
    const bool known = url.scheme() == "ws" || url.scheme() == "wss";
    if (known && url.isValid() && !url.host().isEmpty() && !url.hasQuery() && !url.hasFragment())
        return url;
    return failure(QString("The speech service's address \"%1\" is no ws or wss URL").arg(area));
}

Result<QUrl> regionUrl(const QString& region) {
    static const QRegularExpression name("^[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?$");
    if (name.match(region).hasMatch())
        return QUrl(QString("wss://%1.stt.speech.%2").arg(region, domainOf(region)));
    return failure(region.isEmpty() ? QString("The speech service's region is missing")
                                    : QString("\"%1\" is no region of the speech service").arg(region));
}

QUrl withPath(QUrl url, const QList<std::pair<QString, QString>>& parameters) {
    QString path = url.path();
    while (path.endsWith('/'))
        path.chop(1);
    url.setPath(path + "/stt/speech/universal/v2");
    QUrlQuery query;
    for (const auto& [name, value] : parameters)
        query.addQueryItem(name, QString::fromLatin1(QUrl::toPercentEncoding(value)));
    url.setQuery(query);
    return url;
}

} // namespace

SpeechEndpoint::SpeechEndpoint(QUrl base)
    : base_(std::move(base)) {}

Result<SpeechEndpoint> SpeechEndpoint::make(const QString& area) {
    return (area.contains("://") ? baseUrl(area) : regionUrl(area)).map([](const QUrl& base) {
        return SpeechEndpoint(base);
    });
}

QUrl SpeechEndpoint::recognitionUrl(const QString& language) const {
    return withPath(base_, {{"language", language}, {"format", "simple"}});
}

QUrl SpeechEndpoint::translationUrl(const QString& language, const QStringList& targets) const {
    return withPath(base_, {{"from", language}, {"to", targets.join(',')}, {"scenario", "conversation"}});
}

void SpeechEndpoint::setLocalTrust(const LocalTrust& trust) {
    const std::lock_guard lock(parlowen::trust().mutex);
    parlowen::trust().local = trust;
}

QSslConfiguration SpeechEndpoint::sslConfiguration(const QString& host) {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    const std::lock_guard lock(trust().mutex);
    if (trust().local.covers(host)) // adding, unlike setting, leaves the system's to be looked up when they are needed
        configuration.addCaCertificates(QSslCertificate::fromData(trust().local.certificateAuthority, QSsl::Pem));
    return configuration;
}

} // namespace parlowen
