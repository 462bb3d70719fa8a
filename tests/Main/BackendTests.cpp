#include "support/BackendFixture.h"
#include "support/TemporaryDirectory.h"
#include "support/TlsFiles.h"
#include <Foundation/Bundle.h>
#include <Main/Backend.h>
#include <Main/SessionSignIn.h>
#include <Network/Transport.h>
#include <QDir>
#include <QNetworkReply>
#include <unistd.h>

namespace parlowen::testing {
namespace {

using Access = LocalService::Access;

/// The real service, with a data directory of its own.
struct LocalServiceTest : ::testing::Test {
    LocalService::Place place(int port = 0) const { return {program_, data_.path(), static_cast<quint16>(port)}; }
    static Result<Access> outcomeOf(const std::function<void(LocalService::Started)>& start) {
        std::optional<Result<Access>> outcome;
        start([&outcome](const Result<Access>& result) { outcome = result; });
        EXPECT_TRUE(waitFor([&outcome] { return outcome.has_value(); }, 40'000));
        return outcome.value_or(failure("nothing came"));
    }
    static Access started(LocalService& service) {
        return accessOf(outcomeOf([&service](auto started) { service.start(std::move(started)); }));
    }
    static Access found(Backend& backend) {
        QObject context;
        return accessOf(outcomeOf([&](auto found) { backend.find(&context, std::move(found)); }));
    }
    static Access accessOf(const Result<Access>& outcome) {
        EXPECT_TRUE(outcome) << outcome.error().toStdString();
        return outcome.value_or(Access());
    }
    /// How a request to it comes out; no error when it was answered.
    static QNetworkReply::NetworkError reach(const Access& access) {
        QNetworkAccessManager manager;
        QNetworkRequest request(QUrl(access.baseUrl + "/operation/version"));
        request.setSslConfiguration(sslConfiguration(access.trust, request.url()));
        const std::unique_ptr<QNetworkReply> reply(manager.get(request));
        EXPECT_TRUE(waitFor([&reply] { return reply->isFinished(); }));
        return reply->error();
    }
    static QByteArrayList services() {
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(::getpid()));
        return children.open(QIODevice::ReadOnly) ? children.readAll().trimmed().split(' ') : QByteArrayList();
    }
    static void killService() { ::kill(static_cast<pid_t>(services().constFirst().toInt()), SIGKILL); }

    const QString program_ = QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen-service");
    const QTemporaryDir data_;
};

TEST_F(LocalServiceTest, RunsAgainInTheSamePlaceWhenItIsKilledAlsoWhenARestartFails) {
    const QString link = data_.filePath("service");
    ASSERT_TRUE(QFile::link(program_, link));
    LocalService service({link, data_.path(), 0});
    std::vector<bool> told;
    service.onServing([&told](bool serves) { told.push_back(serves); });
    const Access access = started(service);
    killService();
    ASSERT_TRUE(waitFor([&told] { return told.size() == 2; }, 40'000));
    ASSERT_TRUE(QFile::remove(link));
    const CapturedLog log;
    killService();
    ASSERT_TRUE(waitFor([&log] { return log.linesWith("❌ 无法启动本地服务：").size() >= 2; }));
    EXPECT_EQ(told.size(), 3U);
    ASSERT_TRUE(QFile::link(program_, link));
    ASSERT_TRUE(waitFor([&told] { return told.size() == 4; }, 40'000));
    EXPECT_EQ(told, (std::vector<bool>{false, true, false, true}));
    EXPECT_EQ(reach(access), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, TakesAnotherPortWhenAStrangerHasItsAndWaitsForOneThatIsQuicker) {
    QTcpServer stranger, quicker;
    ASSERT_TRUE(stranger.listen(QHostAddress::LocalHost));
    LocalService service(place(stranger.serverPort()));
    int told = 0;
    service.onStranger([&told](quint16 taken) { told = taken; });
    const Access access = started(service);
    EXPECT_EQ(told, stranger.serverPort());
    const int port = QUrl(access.baseUrl).port();
    EXPECT_NE(port, stranger.serverPort());
    {
        LocalService second(place(stranger.serverPort()));
        EXPECT_EQ(started(second).baseUrl, access.baseUrl);
    }
    bool serves = true;
    service.onServing([&serves](bool now) { serves = now; });
    killService();
    ASSERT_TRUE(waitFor([&serves] { return !serves; }));
    ASSERT_TRUE(quicker.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));
    QObject::connect(&quicker, &QTcpServer::newConnection, [&quicker] { quicker.close(); });
    EXPECT_TRUE(waitFor([&serves] { return serves; }, 40'000));
    EXPECT_EQ(reach(access), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, SaysWhyThereIsNone) {
    writeFile(data_.filePath("parlowen.db").toStdString(), std::string(5000, 'x'));
    for (const auto& [program, words] : {std::pair<QString, const char*>("", "parlowen-service"),
                                         {"/bin/false", "status 1"},
                                         {data_.path(), "cannot be started"},
                                         {program_, "parlowen.db"}}) {
        LocalService service({program, data_.path(), 0});
        const auto outcome = outcomeOf([&service](auto started) { service.start(std::move(started)); });
        EXPECT_TRUE(outcome.error().contains(words)) << words;
    }
}

TEST_F(LocalServiceTest, SaysTheWordsOfItsLastEndAlone) {
    const QString script = data_.filePath("service");
    writeFile(script.toStdString(), "#!/bin/sh\necho 'listening on https://127.0.0.1:1'\necho once >&2\nexit 9\n");
    QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
    const CapturedLog log;
    LocalService service({script, data_.path(), 0});
    started(service);
    const auto ends = [&log] { return log.linesWith("❌ 本地服务"); };
    ASSERT_TRUE(waitFor([&ends] { return ends().size() >= 2; }));
    EXPECT_TRUE(ends()[1].contains("once"));
    EXPECT_EQ(ends()[1], ends()[0]);
}

TEST_F(LocalServiceTest, IsStartedOnceForThoseWhoTrustItAloneAndASecondProgramGetsOneOfItsOwnWhenTheFirstEnds) {
    auto first = std::make_unique<Backend>(QString(), std::nullopt, place());
    QObject context;
    int others = 0;
    first->find(&context, [&others](const Result<Access>& access) { others += access ? 1 : 0; });
    const Access running = found(*first);
    EXPECT_EQ(others, 1);
    EXPECT_EQ(reach({running.baseUrl, {}}), QNetworkReply::SslHandshakeFailedError);
    Backend second({}, std::nullopt, place(QUrl(running.baseUrl).port()));
    const Access shared = found(second);
    EXPECT_EQ(shared.baseUrl, running.baseUrl);
    EXPECT_EQ(services().size(), 1) << "both use the same one";
    QList<bool> told;
    QObject::connect(&second, &Backend::servingChanged, [&told](bool serves) { told << serves; });
    first.reset();
    ASSERT_TRUE(waitFor([&told] { return told.size() == 2; }, 40'000));
    EXPECT_EQ(told, (QList<bool>{false, true}));
    EXPECT_EQ(reach(shared), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, AStrangerOnItsPortGetsNothingAndIsTold) {
    {
        LocalService before(place()); // which leaves its certificate
        started(before);
    }
    const ScriptedHttpServer stranger(ScriptedHttpServer::Scheme::https);
    QTcpServer plain;
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    QObject::connect(&plain, &QTcpServer::newConnection,
                     [&plain] { plain.nextPendingConnection()->write("hello\r\n"); });
    for (const int port : {QUrl(stranger.baseUrl()).port(), int(plain.serverPort())}) {
        Backend backend({}, std::nullopt, place(static_cast<quint16>(port)));
        QList<int> told;
        QObject::connect(&backend, &Backend::portTaken, [&told](int taken) { told << taken; });
        const Access access = found(backend);
        EXPECT_EQ(told, QList<int>{port});
        EXPECT_EQ(reach(access), QNetworkReply::NoError);
        EXPECT_NE(QUrl(access.baseUrl).port(), port);
        EXPECT_EQ(reach({QStringLiteral("https://127.0.0.1:%1").arg(port), access.trust}),
                  QNetworkReply::SslHandshakeFailedError);
    }
    EXPECT_TRUE(stranger.requests().empty());
}

TEST_F(LocalServiceTest, TheBackendsAuthorityIsTrustedForAnAddressOnThisMachineAlone) {
    QDir(data_.path()).mkdir("tls");
    writeFile(data_.filePath("tls/ca.pem").toStdString(), "PEM");
    Backend local("https://localhost:8443/api/v1", {}, place()), remote("https://127.0.0.1@example.org", {}, place());
    EXPECT_TRUE(found(local).trust.covers("localhost"));
    EXPECT_TRUE(found(remote).trust.certificateAuthority.isEmpty());
}

TEST(BackendAddressTest, WhatIsGivenCountsMoreThanWhatIsRememberedAndThatMoreThanTheBuild) {
    EXPECT_EQ(Backend({}, std::nullopt).address(), Bundle::builtInApiBaseUrl());
    EXPECT_TRUE(Backend({}, std::nullopt).isLocalService());
    EXPECT_EQ(Backend({}, "https://remembered/v1/").address(), "https://remembered/v1");
    EXPECT_FALSE(Backend({}, "https://remembered/v1").isGiven());
    qputenv("PARLOWEN_API_BASE_URL", " https://environment/v1 ");
    EXPECT_EQ(Backend({}, "https://remembered/v1").address(), "https://environment/v1");
    EXPECT_EQ(Backend("https://given/v1", "https://remembered/v1").address(), "https://given/v1");
    EXPECT_TRUE(Backend({}, "https://remembered/v1").isGiven());
    qunsetenv("PARLOWEN_API_BASE_URL");
    EXPECT_TRUE(Backend("http://host").checkAddress());
    for (const char* wrong : {"nonsense", "ftp://host/v1", "https://", "https://host:port"})
        EXPECT_FALSE(Backend(wrong).checkAddress()) << wrong;
    EXPECT_EQ(Backend("x").checkAddress().error(),
              "--backend is not the address of a backend, such as https://example.org/api/v1: x");
}

struct SessionSignInTest : BackendFixture {
    QString problemWith(const QString& base) {
        const LocalTrust trust{"127.0.0.1", tlsFile("authority.pem")};
        defaults_.setString("fuwuqi_key", base);
        HttpDatas http(settings_, trust, {});
        SessionSignIn signIn(http, settings_, trust);
        std::optional<Result<void>> outcome;
        signIn.run([&outcome](const Result<void>& result) { outcome = result; });
        EXPECT_TRUE(waitFor([&outcome] { return outcome.has_value(); }));
        return *outcome ? QString() : outcome->error();
    }
};

TEST_F(SessionSignInTest, ADerivedPasswordGoesToTheLocalServiceOverTlsAlone) {
    ScriptedHttpServer local(ScriptedHttpServer::Scheme::https);
    for (ScriptedHttpServer* server : {&local, &server_})
        server->enqueue(Reply::json(200, R"({"data":{"token":"t"}})"));
    for (const QString& base : {server_.baseUrl(), local.baseUrl("localhost")})
        EXPECT_TRUE(problemWith(base).contains(base));
    EXPECT_EQ(server_.requests().size(), 1U) << "is it a backend at all";
    EXPECT_EQ(server_.requests().front().method, "GET");
    EXPECT_EQ(local.requests().size(), 0U);
    EXPECT_EQ(problemWith(local.baseUrl()), "");
    EXPECT_EQ(settings_.loginToken(), "t");
    EXPECT_NE(problemWith(ScriptedHttpServer::refusingUrl()), "") << "a token that nobody looks at";
}

} // namespace
} // namespace parlowen::testing
