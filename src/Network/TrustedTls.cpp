#include "TrustedTls.h"

#include <QSslCertificate>

namespace parlowen {

QSslConfiguration sslConfiguration(const LocalTrust& trust, const QUrl& url) {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (trust.covers(url.host()))
        configuration.setCaCertificates(QSslCertificate::fromData(trust.certificateAuthority, QSsl::Pem));
    return configuration;
}

} // namespace parlowen
