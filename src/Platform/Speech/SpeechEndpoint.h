#pragma once

#include <Foundation/LocalTrust.h>
#include <Foundation/Result.h>

#include <QString>
#include <QStringList>
#include <QUrl>

class QSslConfiguration;

namespace parlowen {

/// Where a speech service is reached. A value.
class SpeechEndpoint {
public:
    /// From an area: a region name such as "eastasia" is a region of the cloud service; with "://" it is the base URL
    /// of a service itself (ws or wss, a path allowed). Fails for anything else.
    static Result<SpeechEndpoint> make(const QString& area);

    /// The URL for plain recognition of a locale.
    QUrl recognitionUrl(const QString& language) const;
    /// The URL for recognition with translation into the targets.
    QUrl translationUrl(const QString& language, const QStringList& targets) const;

    /// Names the one host that is also checked against an authority of its own. Whole process, any thread; counts for
    /// connections made from then on.
    static void setLocalTrust(const LocalTrust& trust);
    /// How to check a wss host: against the system's authorities, and the trusted one against its authority as well.
    static QSslConfiguration sslConfiguration(const QString& host);

private:
    explicit SpeechEndpoint(QUrl base);
    QUrl base_;
};

} // namespace parlowen
