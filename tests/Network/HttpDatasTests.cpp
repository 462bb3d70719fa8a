#include <Foundation/Bundle.h>
#include <Foundation/MainQueue.h>
#include <Foundation/UserDefaults.h>
#include <Network/ApiBase.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <gmock/gmock.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <thread>

#include "support/CapturedLog.h"
#include "support/ScriptedHttpServer.h"
#include "support/WaitFor.h"

namespace parlowen {
namespace {

using parlowen::testing::CapturedLog;
using parlowen::testing::ScriptedHttpServer;
using parlowen::testing::waitFor;
using Reply = ScriptedHttpServer::Reply;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Outcome {
    FResponseStatus status;
    std::optional<JSON> json;
    std::optional<QString> message;
    bool onMainThread;
};

class HttpDatasTest : public ::testing::Test {
protected:
    HttpDatasTest() { defaults_.setString("fuwuqi_key", server_.baseUrl()); }

    HttpDatas::Completion keep() {
        return [this](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>& message) {
            outcomes_.push_back({status, json, message, isMainThread()});
            sinceOutcome_.start();
        };
    }

    void request(const QString& path, HttpMethod method = HttpMethod::GET,
                 const std::optional<QJsonObject>& params = std::nullopt, std::optional<int> timeout = std::nullopt) {
        http_.requestData(path, method, params, timeout, keep());
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

    const ScriptedHttpServer::Request& lastRequest() const { return server_.requests().back(); }

    CapturedLog log_;
    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath("settings.ini")};
    Settings settings_{defaults_};
    ScriptedHttpServer server_;
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
    EXPECT_THAT(lastRequest().header("Authorization").value_or("none").trimmed(), ::testing::Eq("Bearer"));
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
    ApiBase::setBuiltIn(builtIn.baseUrl() + "/api/v1");
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

struct EnvelopeCase {
    int httpStatus;
    const char* body;
    FResponseStatus status;
    std::optional<QString> message;
    std::optional<QString> alert;
};

class HttpDatasEnvelopeTest : public HttpDatasTest, public ::testing::WithParamInterface<EnvelopeCase> {};

TEST_P(HttpDatasEnvelopeTest, TheCodeAloneJudgesADecodedReply) {
    const EnvelopeCase& expected = GetParam();
    server_.enqueue(Reply::json(expected.httpStatus, expected.body));
    const Outcome outcome = outcomeOf("/x");
    EXPECT_EQ(outcome.status, expected.status);
    ASSERT_TRUE(outcome.json);
    EXPECT_EQ(outcome.json->rawString(), JSON::parse(expected.body).rawString());
    EXPECT_EQ(outcome.message, expected.message);
    EXPECT_TRUE(outcome.onMainThread);
    EXPECT_THAT(alerts_, IsEmpty());
    if (expected.alert) {
        EXPECT_TRUE(waitFor([this] { return !alerts_.empty(); }));
        EXPECT_THAT(alerts_, ElementsAre(Alert{*expected.alert, "", "logo", AlertStyle::warning}));
        EXPECT_GE(alertDelay_, 245);
    } else {
        EXPECT_TRUE(parlowen::testing::holdsFor([this] { return alerts_.empty(); }, 300));
    }
    EXPECT_THAT(outcomes_, SizeIs(1));
    EXPECT_EQ(signOuts_, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, HttpDatasEnvelopeTest,
    ::testing::Values(
        EnvelopeCase{200, R"({"code":0,"message":"fine","data":{"n":9007199254740993}})", FResponseStatus::success,
                     std::nullopt, std::nullopt},
        EnvelopeCase{200, R"({"message":"no code"})", FResponseStatus::success, std::nullopt, std::nullopt},
        EnvelopeCase{200, R"([1,2])", FResponseStatus::success, std::nullopt, std::nullopt},
        EnvelopeCase{500, R"({"code":0})", FResponseStatus::success, std::nullopt, std::nullopt},
        EnvelopeCase{200, R"({"code":"5","message":"余额不足"})", FResponseStatus::unusual, "余额不足", "余额不足"},
        EnvelopeCase{404, R"({"code":7,"message":"没有"})", FResponseStatus::unusual, "没有", "没有"},
        EnvelopeCase{400, R"({"code":1,"message":"坏"})", FResponseStatus::unusual, "坏", "坏"},
        EnvelopeCase{200, R"({"code":3})", FResponseStatus::unusual, "", std::nullopt}));

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
    EXPECT_TRUE(parlowen::testing::holdsFor([this] { return alerts_.empty(); }, 300));
    EXPECT_THAT(outcomes_, SizeIs(1)) << "the outcome of the second request alone";
}

TEST_F(HttpDatasTest, WhatCannotBeDecodedIsAFailureWithAnEmptyAlert) {
    const Reply replies[] = {Reply::json(200, ""), Reply::json(200, "<html>"), Reply::json(200, R"({"code":0)"),
                             Reply::json(401, "no"), Reply::json(502, "Bad gateway")};
    for (const Reply& reply : replies)
        server_.enqueue(reply);
    while (outcomes_.size() < std::size(replies)) {
        alerts_.clear();
        const Outcome outcome = outcomeOf("/x");
        EXPECT_EQ(outcome.status, FResponseStatus::failure);
        EXPECT_FALSE(outcome.json);
        EXPECT_TRUE(waitFor([this] { return !alerts_.empty(); }));
        EXPECT_THAT(alerts_, ElementsAre(Alert{"", "", "logo", AlertStyle::warning}));
        EXPECT_GE(alertDelay_, 245);
    }
    EXPECT_EQ(signOuts_, 0);
}

TEST_F(HttpDatasTest, TransportFailuresAreNamed) {
    server_.enqueue(Reply::cut(R"({"code":0,"data":"abcdefghij"})", 12));
    Outcome outcome = outcomeOf("/cut");
    EXPECT_EQ(outcome.status, FResponseStatus::failure);
    EXPECT_TRUE(waitFor([this] { return alerts_.size() == 1; }));
    EXPECT_TRUE(alerts_.back().title.startsWith("请求失败：")) << alerts_.back().title.toStdString();
    EXPECT_TRUE(outcome.message && alerts_.back().title.endsWith(*outcome.message));

    EXPECT_EQ(outcomeOf(ScriptedHttpServer::refusingUrl() + "/x").status, FResponseStatus::failure);
    EXPECT_TRUE(waitFor([this] { return alerts_.size() == 2; }));
    EXPECT_EQ(alerts_.back().title, "无法连接到服务器，请稍后再试");

    server_.enqueue(Reply::silence());
    EXPECT_EQ(outcomeOf("/slow", HttpMethod::GET, std::nullopt, 1).status, FResponseStatus::failure);
    EXPECT_TRUE(waitFor([this] { return alerts_.size() == 3; }));
    EXPECT_EQ(alerts_.back().title, "请求超时，请重试");

    defaults_.setString("fuwuqi_key", "no url");
    EXPECT_EQ(outcomeOf("/x").status, FResponseStatus::failure);
    EXPECT_TRUE(waitFor([this] { return alerts_.size() == 4; }));
    EXPECT_EQ(alerts_.back().title, "");
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
    constexpr int perThread = 10;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < perThread; ++i)
                request("/x", i % 2 == 0 ? HttpMethod::GET : HttpMethod::POST, QJsonObject{{"i", i}});
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(waitFor([this] { return outcomes_.size() == std::size_t(3 * perThread); }));
    for (const Outcome& outcome : outcomes_) {
        EXPECT_EQ(outcome.status, FResponseStatus::success);
        EXPECT_TRUE(outcome.onMainThread);
    }
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
    ASSERT_TRUE(waitFor([this] { return server_.requests().size() == 1; }));
    gone.reset();
    EXPECT_TRUE(waitFor([this] { return server_.isConnectionClosed(); }));
    outcomeOf("/y");
    EXPECT_FALSE(called);
}

} // namespace
} // namespace parlowen
