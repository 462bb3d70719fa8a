#include <Foundation/Bundle.h>
#include <Main/Backend.h>
#include <Main/SessionSignIn.h>

#include <QDir>

#include "LocalServiceFixture.h"
#include "support/BackendFixture.h"
#include "support/TlsFiles.h"

namespace parlowen::testing {
namespace {

TEST(BackendAddressTest, WhatIsGivenCountsMoreThanWhatIsRememberedAndThatMoreThanTheBuild) {
    const QString build = Bundle::builtInApiBaseUrl();
    EXPECT_EQ(Backend({}, std::nullopt).address(), build);
    EXPECT_EQ(Backend({}, "https://remembered/v1/").address(), "https://remembered/v1");
    EXPECT_FALSE(Backend({}, "https://remembered/v1").isGiven());
    qputenv("PARLOWEN_API_BASE_URL", " https://environment/v1 ");
    EXPECT_EQ(Backend({}, "https://remembered/v1").address(), "https://environment/v1");
    EXPECT_EQ(Backend("https://given/v1", "https://remembered/v1").address(), "https://given/v1");
    EXPECT_TRUE(Backend({}, "https://remembered/v1").isGiven());
    qunsetenv("PARLOWEN_API_BASE_URL");

    EXPECT_TRUE(Backend("http://host").checkAddress());
    for (const char* wrong : {"nonsense", "ftp://host/v1", "https://", "https://host:port"}) {
        const Result<void> usable = Backend(wrong).checkAddress();
        ASSERT_FALSE(usable) << wrong;
        EXPECT_TRUE(usable.error().contains("--backend") && usable.error().contains(wrong));
    }
    EXPECT_TRUE(Backend({}, "x").checkAddress().error().contains("fuwuqi_key"));
}

class BackendTest : public LocalServiceFixture {
protected:
    static Result<Backend::Access> find(Backend& backend) {
        std::optional<Result<Backend::Access>> result;
        QObject context;
        backend.find(&context, [&result](const Result<Backend::Access>& found) { result = found; });
        EXPECT_FALSE(result) << "later";
        EXPECT_TRUE(waitFor([&result] { return result.has_value(); }, 40'000));
        return result.value_or(failure("nothing came"));
    }
};

TEST_F(BackendTest, ASecondProgramGetsAServiceOfItsOwnWhenTheFirstEnds) {
    auto first = std::make_unique<Backend>(QString(), std::nullopt, place());
    const Result<Backend::Access> running = find(*first);
    ASSERT_TRUE(running) << running.error().toStdString();
    Backend second({}, std::nullopt, place(static_cast<quint16>(QUrl(running->baseUrl).port())));
    const Result<Backend::Access> shared = find(second);
    ASSERT_TRUE(shared) << shared.error().toStdString();
    EXPECT_EQ(shared->baseUrl, running->baseUrl);
    EXPECT_EQ(childProcesses().size(), 1) << "both use the same one";

    QList<bool> told;
    QObject::connect(&second, &Backend::servingChanged, [&told](bool serves) { told << serves; });
    first.reset();
    ASSERT_TRUE(waitFor([&told] { return told.size() == 2; }, 40'000));
    EXPECT_EQ(told, (QList<bool>{false, true}));
    EXPECT_EQ(reach(*shared), QNetworkReply::NoError);
    EXPECT_EQ(find(second)->baseUrl, shared->baseUrl) << "it is found already";
}

TEST_F(BackendTest, AServiceThatCouldNotBeStartedIsTriedAgain) {
    const QString program = data_.filePath("program");
    Backend backend({}, std::nullopt, {program, data_.path(), 0});
    EXPECT_FALSE(find(backend));
    ASSERT_TRUE(QFile::link(serviceProgram, program));
    EXPECT_TRUE(find(backend));
}

TEST_F(BackendTest, TheLocalAuthorityIsTrustedForAnAddressOnThisMachineAlone) {
    QDir(data_.path()).mkdir("tls");
    QFile authority(data_.filePath("tls/ca.pem"));
    ASSERT_TRUE(authority.open(QIODevice::WriteOnly) && authority.write("PEM") == 3);
    authority.close();
    const auto trustOf = [this](const char* address) {
        Backend backend(address, std::nullopt, place());
        return find(backend)->trust;
    };
    EXPECT_TRUE(trustOf("https://localhost:8443/api/v1").covers("localhost"));
    EXPECT_FALSE(trustOf("https://example.org/api/v1").covers("example.org"));
    EXPECT_TRUE(trustOf("https://127.0.0.1@example.org/v1").certificateAuthority.isEmpty());
}

class SessionSignInTest : public BackendFixture {
protected:
    QString problemWith(const QString& base, const LocalTrust& trust) {
        defaults_.setString("fuwuqi_key", base);
        HttpDatas http(settings_, trust, {});
        SessionSignIn signIn(http, settings_, trust);
        std::optional<QString> problem;
        signIn.run([&problem](const QString& text) { problem = text; });
        EXPECT_TRUE(waitFor([&problem] { return problem.has_value(); }));
        return problem.value_or("nothing came");
    }
};

TEST_F(SessionSignInTest, ADerivedPasswordGoesToTheLocalServiceOverTlsAlone) {
    const LocalTrust trust{"127.0.0.1", tlsFile("authority.pem")};
    server_.enqueue(Reply::json(200, R"({"data":{"token":"t"}})"));
    EXPECT_TRUE(problemWith(server_.baseUrl(), trust).contains(server_.baseUrl()));
    EXPECT_TRUE(server_.requests().empty());

    ScriptedHttpServer local(ScriptedHttpServer::Scheme::https);
    local.enqueue(Reply::json(200, R"({"data":{"token":"t"}})"));
    EXPECT_TRUE(problemWith(local.baseUrl("localhost"), trust).contains("localhost"));
    EXPECT_TRUE(local.requests().empty());
    EXPECT_EQ(problemWith(local.baseUrl(), trust), "");
    EXPECT_EQ(local.requests().front().target, "/user/account/login");
    EXPECT_EQ(settings_.loginToken(), "t");
}

} // namespace
} // namespace parlowen::testing
