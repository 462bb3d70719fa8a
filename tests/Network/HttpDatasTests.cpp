#include <Foundation/Bundle.h>
#include <Foundation/MainQueue.h>
#include <Network/ApiBase.h>
#include <Network/TrustedTls.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSslCertificate>
#include <thread>

#include "support/BackendFixture.h"
#include "support/TlsFiles.h"

namespace parlowen::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Outcome {
    FResponseStatus status = FResponseStatus::unusual;
    std::optional<JSON> json;
    std::optional<QString> message;
    bool onMainThread = false;
};

class HttpDatasTest : public BackendFixture {
protected:
    void request(const QString& path, HttpMethod method = HttpMethod::GET,
                 const std::optional<QJsonObject>& params = std::nullopt, std::optional<int> timeout = std::nullopt) {
        http_.requestData(path, method, params, timeout,
                          [this](FResponseStatus status, const auto& json, const auto& message) {
                              outcomes_.push_back({status, json, message, isMainThread()});
                              sinceOutcome_.start();
                          });
    }

    /// Sends one request and waits for its outcome.
    Outcome outcomeOf(const QString& path, HttpMethod method = HttpMethod::GET,
                      const std::optional<QJsonObject>& params = std::nullopt,
                      std::optional<int> timeout = std::nullopt) {
        const std::size_t before = outcomes_.size();
        request(path, method, params, timeout);
        EXPECT_EQ(outcomes_.size(), before) << "it returns before the outcome is there";
        EXPECT_TRUE(waitFor([&] { return outcomes_.size() > before; }));
        return outcomes_.size() > before ? outcomes_.back() : Outcome{};
    }

    /// The title of the alert that comes a quarter of a second behind an outcome.
    QString nextAlert() {
        EXPECT_TRUE(waitFor([this] { return !alerts_.empty(); }));
        const Alert alert = alerts_.empty() ? Alert{} : alerts_.front();
        EXPECT_EQ(alert, (Alert{alert.title, "", "logo", AlertStyle::warning}));
        EXPECT_GE(alertDelay_, 245);
        EXPECT_THAT(alerts_, SizeIs(1));
        alerts_.clear();
        return alert.title;
    }
    bool noAlertComes() {
        return holdsFor([this] { return alerts_.empty(); }, 300);
    }

    std::vector<Alert> alerts_;
    qint64 alertDelay_ = -1;
    int signOuts_ = 0;
    std::vector<Outcome> outcomes_;
    QElapsedTimer sinceOutcome_;
    HttpDatas http_{settings_,
                    {},
                    {[this](const Alert& alert) {
                         alerts_.push_back(alert);
                         alertDelay_ = sinceOutcome_.elapsed();
                     },
                     [this] { ++signOuts_; }}};
};

TEST_F(HttpDatasTest, EveryRequestCarriesTheFixedHeaders) {
    server_.enqueue(Reply::json(200, "{}"));
    for (const HttpMethod method : {HttpMethod::GET, HttpMethod::POST, HttpMethod::PUT}) {
        outcomeOf("/x", method);
        EXPECT_EQ(lastRequest().header("Version"), Bundle::shortVersion().toUtf8());
        EXPECT_EQ(lastRequest().header("Accept"), "application/json");
        EXPECT_EQ(lastRequest().header("Content-Type"), "application/json");
        EXPECT_EQ(lastRequest().header("platform"), "macOS");
        EXPECT_EQ(lastRequest().header("lan"), "zh-Hans");
        EXPECT_EQ(lastRequest().header("Authorization"), std::nullopt);
    }
    // The token is read anew for each request.
    settings_.setLoginToken("abc");
    outcomeOf("/x");
    EXPECT_EQ(lastRequest().header("Authorization"), "Bearer abc");
    settings_.setLoginToken("");
    outcomeOf("/x");
    EXPECT_EQ(lastRequest().header("Authorization").value_or("none").trimmed(), "Bearer");
}

TEST_F(HttpDatasTest, ParametersGoIntoTheQueryOrTheBody) {
    server_.enqueue(Reply::json(200, "{}"));
    const QJsonObject params{{"b", 1}, {"a", true}, {"id", qint64(9007199254740993)}};
    outcomeOf("/list", HttpMethod::GET, params);
    EXPECT_EQ(lastRequest().method, "GET");
    EXPECT_EQ(lastRequest().target, "/list?a=1&b=1&id=9007199254740993");
    EXPECT_EQ(lastRequest().body, "");

    outcomeOf("/send", HttpMethod::POST, params);
    EXPECT_EQ(lastRequest().method, "POST");
    EXPECT_EQ(lastRequest().target, "/send");
    EXPECT_EQ(QJsonDocument::fromJson(lastRequest().body).object(), params);
    EXPECT_TRUE(lastRequest().body.contains("9007199254740993"));

    outcomeOf("/change/2", HttpMethod::PUT);
    EXPECT_EQ(lastRequest().method, "PUT");
    EXPECT_EQ(lastRequest().body, "");
}

TEST_F(HttpDatasTest, TheBaseIsTheOverrideThenTheBuiltInOne) {
    ScriptedHttpServer builtIn;
    builtIn.enqueue(Reply::json(200, "{}"));
    server_.enqueue(Reply::json(200, "{}"));
    const QString before = ApiBase::builtIn();
    EXPECT_EQ(before, Bundle::builtInApiBaseUrl());
    ApiBase::setBuiltIn(builtIn.baseUrl() + "/api/v1/");
    outcomeOf("/x");
    EXPECT_THAT(builtIn.requests(), IsEmpty());
    outcomeOf(builtIn.baseUrl() + "/whole");
    ASSERT_THAT(builtIn.requests(), SizeIs(1));
    EXPECT_EQ(builtIn.requests().back().target, "/whole");
    defaults_.remove("fuwuqi_key");
    outcomeOf("/x");
    ASSERT_THAT(builtIn.requests(), SizeIs(2));
    EXPECT_EQ(builtIn.requests().back().target, "/api/v1/x");
    EXPECT_THAT(server_.requests(), SizeIs(1));
    ApiBase::setBuiltIn(before);
}

TEST_F(HttpDatasTest, TheCodeAloneJudgesADecodedReply) {
    struct Case {
        int httpStatus;
        const char* body;
        FResponseStatus status;
        std::optional<QString> message;
        const char* alert;
    };
    constexpr const char* noAlert = nullptr;
    const Case cases[] = {
        {200, R"({"code":0,"message":"fine","data":{"n":9007199254740993}})", FResponseStatus::success, {}, noAlert},
        {200, R"({"message":"no code"})", FResponseStatus::success, {}, noAlert},
        {200, R"([1,2])", FResponseStatus::success, {}, noAlert},
        {500, R"({"code":0})", FResponseStatus::success, {}, noAlert},
        {200, R"({"code":"5","message":"余额不足"})", FResponseStatus::unusual, "余额不足", "余额不足"},
        {404, R"({"code":7,"message":"没有"})", FResponseStatus::unusual, "没有", "没有"},
        {200, R"({"code":3})", FResponseStatus::unusual, "", noAlert},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.body);
        server_.enqueue(Reply::json(c.httpStatus, c.body));
        const Outcome outcome = outcomeOf("/x");
        EXPECT_EQ(outcome.status, c.status);
        ASSERT_TRUE(outcome.json);
        EXPECT_EQ(outcome.json->rawString(), JSON::parse(c.body).rawString());
        EXPECT_EQ(outcome.message, c.message);
        EXPECT_TRUE(outcome.onMainThread);
        EXPECT_THAT(alerts_, IsEmpty()) << "it comes later";
        if (c.alert)
            EXPECT_EQ(nextAlert(), c.alert);
        else
            EXPECT_TRUE(noAlertComes());
    }
    EXPECT_THAT(outcomes_, SizeIs(std::size(cases)));
    EXPECT_EQ(signOuts_, 0);
}

TEST_F(HttpDatasTest, ARejectedTokenSignsTheUserOutAndTheCallerHearsNothing) {
    settings_.setLoginToken("old");
    settings_.setUserInfo(UserBaseModel());
    settings_.setAutoLogin(true);
    server_.enqueue(Reply::json(401, R"({"code":0,"message":"登录已过期"})"));
    server_.enqueue(Reply::json(200, "{}"));
    request("/user/info");
    ASSERT_TRUE(waitFor([this] { return signOuts_ == 1; }));
    EXPECT_EQ(settings_.loginToken(), std::nullopt);
    EXPECT_EQ(settings_.userInfo(), std::nullopt);
    EXPECT_TRUE(settings_.isAutoLogin());

    outcomeOf("/next");
    EXPECT_EQ(lastRequest().header("Authorization"), std::nullopt);
    EXPECT_TRUE(noAlertComes());
    EXPECT_THAT(outcomes_, SizeIs(1)) << "the outcome of the second request alone";
}

TEST_F(HttpDatasTest, WhatCannotBeDecodedIsAFailureWithAnEmptyAlert) {
    for (const Reply& reply : {Reply::json(200, ""), Reply::json(200, "<html>"), Reply::json(200, R"({"code":0)"),
                               Reply::json(401, "no"), Reply::json(502, "Bad gateway")}) {
        server_.enqueue(reply);
        const Outcome outcome = outcomeOf("/x");
        EXPECT_EQ(outcome.status, FResponseStatus::failure);
        EXPECT_FALSE(outcome.json);
        EXPECT_EQ(nextAlert(), "");
    }
    EXPECT_EQ(signOuts_, 0);
}

TEST_F(HttpDatasTest, TransportFailuresAreNamed) {
    server_.enqueue(Reply::cut(R"({"code":0,"data":"abcdefghij"})", 12));
    const Outcome cut = outcomeOf("/cut");
    EXPECT_EQ(cut.status, FResponseStatus::failure);
    EXPECT_EQ(nextAlert(), "请求失败：" + cut.message.value_or("no message"));

    EXPECT_EQ(outcomeOf(ScriptedHttpServer::refusingUrl() + "/x").status, FResponseStatus::failure);
    EXPECT_EQ(nextAlert(), "无法连接到服务器，请稍后再试");

    server_.enqueue(Reply::silence());
    EXPECT_EQ(outcomeOf("/slow", HttpMethod::GET, std::nullopt, 1).status, FResponseStatus::failure);
    EXPECT_EQ(nextAlert(), "请求超时，请重试");

    defaults_.setString("fuwuqi_key", "no url");
    EXPECT_EQ(outcomeOf("/x").status, FResponseStatus::failure);
    EXPECT_EQ(nextAlert(), "");
    EXPECT_THAT(log_.linesWith("请求错误: "), SizeIs(4));
}

TEST_F(HttpDatasTest, RequestsAndRepliesAreLogged) {
    server_.enqueue(Reply::json(200, R"({"code":0})"));
    outcomeOf("/list", HttpMethod::GET, QJsonObject{{"source", 1}});
    outcomeOf("/send", HttpMethod::POST);
    EXPECT_EQ(log_.lines(), (QStringList{"🚀🚀🚀🚀🚀🚀url:" + server_.baseUrl() + "/list", R"(params:{"source":1})",
                                         "🍺🍺🍺🍺🍺🍺result:{\n  \"code\": 0\n}", "🚀🚀🚀🚀🚀🚀url:" + server_.baseUrl() + "/send",
                                         "params:{}", "🍺🍺🍺🍺🍺🍺result:{\n  \"code\": 0\n}"}));
}

TEST_F(HttpDatasTest, ManyRequestsFromAnyThreadCompleteOnTheMainThread) {
    server_.enqueue(Reply::json(200, R"({"code":0})"));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < 10; ++i)
                request("/x", i % 2 == 0 ? HttpMethod::GET : HttpMethod::POST, QJsonObject{{"i", i}});
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(waitFor([this] { return outcomes_.size() == 30; }));
    EXPECT_TRUE(std::all_of(outcomes_.begin(), outcomes_.end(), [](const Outcome& outcome) {
        return outcome.status == FResponseStatus::success && outcome.onMainThread;
    }));
}

TEST_F(HttpDatasTest, ARequestThatOutlivesTheLayerIsDropped) {
    server_.enqueue(Reply::silence());
    server_.enqueue(Reply::json(200, "{}"));
    auto gone = std::make_unique<HttpDatas>(settings_, LocalTrust(), HttpDatas::Hooks());
    HttpDatas::install(gone.get());
    EXPECT_EQ(&HttpDatas::shared(), gone.get());
    bool called = false;
    gone->requestData("/x", HttpMethod::GET, std::nullopt, std::nullopt,
                      [&called](auto, auto, auto) { called = true; });
    ASSERT_TRUE(waitForRequests(1));
    gone.reset();
    EXPECT_TRUE(waitFor([this] { return server_.isConnectionClosed(); }));
    outcomeOf("/y");
    EXPECT_FALSE(called);
}

TEST_F(HttpDatasTest, TheLocalAuthorityCountsForItsHostAlone) {
    // The server's certificate is right for both names of this machine.
    ScriptedHttpServer server(ScriptedHttpServer::Scheme::https);
    server.enqueue(Reply::json(200, "{}"));
    const auto statusOf = [&](const LocalTrust& trust, const QString& host) {
        HttpDatas http(settings_, trust, {});
        std::optional<FResponseStatus> status;
        http.requestData(server.baseUrl(host), HttpMethod::GET, std::nullopt, std::nullopt,
                         [&status](FResponseStatus outcome, const auto&, const auto&) { status = outcome; });
        EXPECT_TRUE(waitFor([&status] { return status.has_value(); }));
        return status.value_or(FResponseStatus::unusual);
    };
    const LocalTrust trust{"127.0.0.1", tlsFile("authority.pem")};
    EXPECT_EQ(statusOf(trust, "127.0.0.1"), FResponseStatus::success);
    EXPECT_EQ(statusOf(trust, "localhost"), FResponseStatus::failure);
    EXPECT_EQ(statusOf(LocalTrust(), "127.0.0.1"), FResponseStatus::failure);

    const auto authorities = [](const LocalTrust& local, const char* url) {
        return sslConfiguration(local, QUrl(url)).caCertificates();
    };
    const auto system = QSslConfiguration::defaultConfiguration().caCertificates();
    EXPECT_EQ(authorities(trust, "https://127.0.0.1:47615/api/v1"),
              QSslCertificate::fromData(trust.certificateAuthority));
    EXPECT_EQ(authorities(trust, "https://example.com"), system);
    EXPECT_EQ(authorities(LocalTrust(), "https://127.0.0.1"), system);
}

} // namespace
} // namespace parlowen::testing
