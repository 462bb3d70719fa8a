#include <Foundation/UserDefaults.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Network/TrustedTls.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QSslCertificate>
#include <QTemporaryDir>

#include "support/ScriptedHttpServer.h"
#include "support/WaitFor.h"

namespace parlowen {
namespace {

using parlowen::testing::ScriptedHttpServer;
using parlowen::testing::waitFor;

LocalTrust localTrust(const QString& host) {
    QFile file(PARLOWEN_SOURCE_DIR "/tests/support/tls/authority.pem");
    EXPECT_TRUE(file.open(QFile::ReadOnly));
    return {host, file.readAll()};
}

TEST(TrustedTlsTest, TheAuthorityCountsForItsHostAlone) {
    const LocalTrust trust = localTrust("127.0.0.1");
    const auto trusted = sslConfiguration(trust, QUrl("https://127.0.0.1:47615/api/v1")).caCertificates();
    EXPECT_EQ(trusted, QSslCertificate::fromData(trust.certificateAuthority));
    ASSERT_EQ(trusted.size(), 1);
    const auto system = QSslConfiguration::defaultConfiguration().caCertificates();
    EXPECT_EQ(sslConfiguration(trust, QUrl("https://example.com")).caCertificates(), system);
    EXPECT_EQ(sslConfiguration(LocalTrust(), QUrl("https://127.0.0.1")).caCertificates(), system);
}

/// The outcome of a request to a server whose certificate is right for both names of this machine.
FResponseStatus statusOf(const LocalTrust& trust, const QString& host) {
    ScriptedHttpServer server(ScriptedHttpServer::Scheme::https);
    server.enqueue(ScriptedHttpServer::Reply::json(200, "{}"));
    const QTemporaryDir directory;
    UserDefaults defaults(directory.filePath("settings.ini"));
    Settings settings(defaults);
    HttpDatas http(settings, trust, {});
    std::optional<FResponseStatus> outcome;
    http.requestData(server.baseUrl(host), HttpMethod::GET, std::nullopt, std::nullopt,
                     [&outcome](FResponseStatus status, const auto&, const auto&) { outcome = status; });
    EXPECT_TRUE(waitFor([&outcome] { return outcome.has_value(); }));
    return outcome.value_or(FResponseStatus::unusual);
}

TEST(TrustedTlsTest, RequestsReachTheTrustedHostAndNoOther) {
    EXPECT_EQ(statusOf(localTrust("127.0.0.1"), "127.0.0.1"), FResponseStatus::success);
    EXPECT_EQ(statusOf(localTrust("127.0.0.1"), "localhost"), FResponseStatus::failure);
    EXPECT_EQ(statusOf(LocalTrust(), "127.0.0.1"), FResponseStatus::failure);
}

} // namespace
} // namespace parlowen
