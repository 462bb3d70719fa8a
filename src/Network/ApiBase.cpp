#include "ApiBase.h"

#include <Foundation/Bundle.h>

#include <mutex>

namespace parlowen {

namespace {

QString baseAtStart() {
    const QString fromEnvironment = ApiBase::fromEnvironment();
    return fromEnvironment.isEmpty() ? Bundle::builtInApiBaseUrl() : fromEnvironment;
}

struct Base {
    std::mutex mutex;
    QString url = baseAtStart();
};

Base& base() {
    static Base instance;
    return instance;
}

} // namespace

QString ApiBase::trimmed(QString url) {
    url = url.trimmed();
    while (url.endsWith('/'))
        url.chop(1);
    return url;
}

QString ApiBase::fromEnvironment() { return trimmed(qEnvironmentVariable("PARLOWEN_API_BASE_URL")); }

QUrl ApiBase::captchaPage(const QString& baseUrl) {
    if (const QString ofBuild = Bundle::captchaUrlOfBuild(); !ofBuild.isEmpty())
        return QUrl(ofBuild);
    const QUrl backend(baseUrl);
    QUrl page;
    page.setScheme(QStringLiteral("http"));
    page.setHost(backend.host());
    page.setPort(backend.port() < 0 ? -1 : backend.port() + 1);
    page.setPath(QStringLiteral("/"));
    return page;
}

QString ApiBase::builtIn() {
    const std::lock_guard lock(base().mutex);
    return base().url;
}

void ApiBase::setBuiltIn(const QString& url) {
    const std::lock_guard lock(base().mutex);
    base().url = trimmed(url);
}

} // namespace parlowen
