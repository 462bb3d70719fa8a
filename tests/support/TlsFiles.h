#pragma once

#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <memory>

namespace parlowen::testing {

/// A file of tests/support/tls, for tests that define where the sources are.
inline QByteArray tlsFile(const char* name) {
    QFile file(QString(PARLOWEN_SOURCE_DIR "/tests/support/tls/") + name);
    if (!file.open(QFile::ReadOnly))
        qFatal("a file of tests/support/tls is missing");
    return file.readAll();
}

/// Stands in for the system's authorities while it lives.
class SystemTrusts {
public:
    explicit SystemTrusts(const QByteArray& pem) {
        QSslConfiguration configuration = before_;
        configuration.setCaCertificates(QSslCertificate::fromData(pem));
        QSslConfiguration::setDefaultConfiguration(configuration);
    }
    ~SystemTrusts() { QSslConfiguration::setDefaultConfiguration(before_); }

private:
    const QSslConfiguration before_ = QSslConfiguration::defaultConfiguration();
};

/// A server that speaks plain TCP, or TLS with the certificate of server.pem, which authority.pem signed for 127.0.0.1
/// and localhost.
inline std::unique_ptr<QTcpServer> makeListener(bool overTls) {
    if (!overTls)
        return std::make_unique<QTcpServer>();
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(QSslCertificate(tlsFile("server.pem")));
    configuration.setPrivateKey(QSslKey(tlsFile("server.key"), QSsl::Ec));
    auto server = std::make_unique<QSslServer>();
    server->setSslConfiguration(configuration);
    return server;
}

} // namespace parlowen::testing
