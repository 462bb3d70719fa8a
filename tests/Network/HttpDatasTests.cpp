#include "support/BackendFixture.h"
#include "support/TlsFiles.h"
#include <Foundation/Bundle.h>
#include <Foundation/MainQueue.h>
#include <Network/ApiBase.h>
#include <Network/ImageLoader.h>

namespace parlowen::testing {
namespace {

struct Outcome {
    FResponseStatus status = FResponseStatus::unusual;
    std::optional<JSON> json;
    std::optional<QString> message;
};

struct HttpDatasTest : BackendFixture {
    Outcome outcomeOf(const QString& path, HttpMethod method = HttpMethod::GET,
                      const std::optional<QJsonObject>& params = std::nullopt,
                      std::optional<int> timeout = std::nullopt) {
        outcomes_.clear();
        http_.requestData(path, method, params, timeout, completion_);
        EXPECT_TRUE(outcomes_.empty()) << "it returns before the outcome is there";
        EXPECT_TRUE(waitFor([this] { return !outcomes_.empty(); }));
        EXPECT_THAT(alerts_, IsEmpty()) << "it comes later";
        return outcomes_.empty() ? Outcome{} : outcomes_.front();
    }
    /// The title of the one alert that comes behind an outcome.
    QString nextAlert() {
        EXPECT_TRUE(waitFor([this] { return !alerts_.empty(); }));
        const Alert alert = alerts_.empty() ? Alert{} : alerts_.front();
        EXPECT_EQ(alert, (Alert{alert.title, "", "logo", AlertStyle::warning}));
        EXPECT_THAT(alerts_, SizeIs(1));
        alerts_.clear();
        return alert.title;
    }
    bool noAlertComes() {
        return holdsFor([this] { return alerts_.empty(); }, 300);
    }

    std::vector<Alert> alerts_;
    bool isTime_ = true;
    int signOuts_ = 0;
    std::vector<Outcome> outcomes_;
    HttpDatas::Completion completion_ = [this](FResponseStatus status, const auto& json, const auto& message) {
        EXPECT_TRUE(isMainThread());
        outcomes_.push_back({status, json, message});
        isTime_ = false;
        QTimer::singleShot(200, Qt::PreciseTimer, &http_, [this] { isTime_ = true; });
    };
    HttpDatas http_{settings_,
                    {},
                    {[this](const Alert& alert) {
                         EXPECT_TRUE(isTime_) << "it comes a quarter of a second later";
                         alerts_.push_back(alert);
                     },
                     [this] { ++signOuts_; }}};
};

TEST_F(HttpDatasTest, RequestsCarryTheirHeadersAndParametersInTheQueryOrTheBody) {
    server_.enqueue(Reply::json(200, "{}"));
    const QJsonObject params{{"b", 1}, {"a", true}, {"id", qint64(9007199254740993)}};
    const auto line = [this] { return lastRequest().method + " " + lastRequest().target; };
    outcomeOf("/list", HttpMethod::GET, params);
    EXPECT_EQ(line() + lastRequest().body, "GET /list?a=1&b=1&id=9007199254740993");
    EXPECT_EQ(lastRequest().header("Authorization"), std::nullopt);
    const auto device = lastRequest().header("Device");
    settings_.setLoginToken("abc"); // read anew for each request
    outcomeOf("/change/2", HttpMethod::PUT);
    EXPECT_EQ(line() + lastRequest().body, "PUT /change/2");
    outcomeOf("/send", HttpMethod::POST, params);
    EXPECT_EQ(line() + " " + lastRequest().body, R"(POST /send {"a":true,"b":1,"id":9007199254740993})");
    for (const auto& [name, value] : {std::pair("Version", Bundle::shortVersion().toUtf8()),
                                      {"Accept", "application/json"},
                                      {"Content-Type", "application/json"},
                                      {"platform", "macOS"},
                                      {"lan", "zh-Hans"},
                                      {"Accept-Language", "zh-Hans"},
                                      {"Authorization", "Bearer abc"}})
        EXPECT_EQ(lastRequest().header(name), value) << name;
    EXPECT_EQ(device, lastRequest().header("Device"));
    EXPECT_NE(device, settings_.deviceOf("https://elsewhere.example"));
}

TEST_F(HttpDatasTest, TheBaseIsTheOverrideThenTheBuiltInOne) {
    ScriptedHttpServer builtIn;
    builtIn.enqueue(Reply::json(200, "{}"));
    server_.enqueue(Reply::json(200, "{}"));
    const QString before = ApiBase::builtIn();
    ApiBase::setBuiltIn(builtIn.baseUrl() + "/api/v1/");
    outcomeOf("/x");
    EXPECT_THAT(builtIn.requests(), IsEmpty());
    outcomeOf(builtIn.baseUrl() + "/whole");
    ASSERT_THAT(builtIn.requests(), SizeIs(1));
    EXPECT_EQ(builtIn.requests().back().target, "/whole");
    http_.setHeld(true);
    http_.requestData("/held", HttpMethod::GET, {}, {}, completion_);
    defaults_.remove("fuwuqi_key");
    http_.setHeld(false);
    ASSERT_TRUE(waitFor([&builtIn] { return builtIn.requests().size() == 2; }));
    EXPECT_EQ(builtIn.requests().back().target, "/api/v1/held") << "as of when it was let go";
    EXPECT_THAT(server_.requests(), SizeIs(1));
    ApiBase::setBuiltIn(before);
}

TEST_F(HttpDatasTest, TheCodeAloneJudgesADecodedReply) {
    constexpr const char* noAlert = nullptr;
    const std::tuple<int, const char*, FResponseStatus, std::optional<QString>, const char*> cases[] = {
        {200, R"({"code":0,"message":"fine","data":{"n":9007199254740993}})", FResponseStatus::success, {}, noAlert},
        {200, R"([1,2])", FResponseStatus::success, {}, noAlert},
        {500, R"({"code":0})", FResponseStatus::success, {}, noAlert},
        {200, R"({"code":"5","message":"余额不足"})", FResponseStatus::unusual, "余额不足", "余额不足"},
        {404, R"({"code":7,"message":"没有"})", FResponseStatus::unusual, "没有", "没有"},
        {200, R"({"code":7})", FResponseStatus::unusual, "", noAlert},
    };
    for (const auto& [httpStatus, body, status, message, alert] : cases) {
        SCOPED_TRACE(body);
        server_.enqueue(Reply::json(httpStatus, body));
        const Outcome outcome = outcomeOf("/x");
        EXPECT_EQ(outcome.status, status);
        ASSERT_TRUE(outcome.json);
        EXPECT_EQ(outcome.json->rawString(), JSON::parse(body).rawString());
        EXPECT_EQ(outcome.message, message);
        EXPECT_TRUE(alert == nullptr || nextAlert() == alert);
    }
    EXPECT_TRUE(noAlertComes());
    EXPECT_EQ(signOuts_, 0);
}

TEST_F(HttpDatasTest, ARejectedTokenSignsTheUserOutUnlessItIsOfAnEarlierSignInAndTheCallerHearsNothing) {
    settings_.setLoginToken("older");
    server_.enqueue(Reply::json(401, R"({"code":0})"));
    http_.requestData("/late", HttpMethod::GET, std::nullopt, std::nullopt, completion_);
    settings_.setLoginToken("old");
    ASSERT_TRUE(waitFor([this] { return !log_.linesWith("请求所用的登录").isEmpty(); }));
    EXPECT_EQ(settings_.loginToken(), "old");
    EXPECT_EQ(signOuts_, 0);
    settings_.setAutoLogin(true);
    server_.enqueue(Reply::json(401, R"({"code":0,"message":"登录已过期"})"));
    server_.enqueue(Reply::json(200, "{}"));
    http_.requestData("/user/info", HttpMethod::GET, std::nullopt, std::nullopt, completion_);
    ASSERT_TRUE(waitFor([this] { return signOuts_ == 1; }));
    EXPECT_TRUE(settings_.isAutoLogin() && !settings_.loginToken());
    EXPECT_TRUE(noAlertComes());
    EXPECT_THAT(outcomes_, IsEmpty());
    outcomeOf("/next");
    EXPECT_EQ(lastRequest().header("Authorization"), std::nullopt);
}

TEST_F(HttpDatasTest, WhatCannotBeDecodedIsAFailureWithAnEmptyAlert) {
    for (const Reply& reply : {Reply::json(200, ""), Reply::json(200, "<html>"), Reply::json(401, "no")}) {
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

TEST_F(HttpDatasTest, TheLogHoldsNothingThatLetsSomebodyIn) {
    for (const char* data : {R"({"token":"hush-1","name":"plain"})", R"("hush-2")", R"([{"token":"hush-3"}])"}) {
        server_.enqueue(Reply::json(200, QByteArray(R"({"code":0,"data":)") + data + "}"));
        outcomeOf("/x", HttpMethod::POST, QJsonObject{{"password", "hush-4"}, {"code", "hush-5"}, {"phone", "138"}});
    }
    const QString lines = log_.lines().join('\n');
    EXPECT_FALSE(lines.contains("hush"));
    EXPECT_TRUE(lines.contains("plain") && lines.contains("138"));
}

TEST_F(HttpDatasTest, ARedirectTakesSecretsNowhereElse) {
    ScriptedHttpServer elsewhere;
    const auto redirect = [](const QString& url) {
        return Reply{"HTTP/1.1 307 Moved\r\nContent-Length: 0\r\nLocation: " + url.toLatin1() + "\r\n\r\n"};
    };
    for (const char* token : {"", "secret"}) {
        settings_.setLoginToken(token);
        elsewhere.enqueue(Reply::json(200, R"({"code":0})"));
        server_.enqueue(redirect(elsewhere.baseUrl() + "/y"));
        EXPECT_EQ(outcomeOf("/x", HttpMethod::POST, QJsonObject{{"password", "secret"}}).status,
                  FResponseStatus::failure);
        EXPECT_THAT(elsewhere.requests(), IsEmpty());
        EXPECT_TRUE(nextAlert().contains("另一个地址"));
    }
    server_.enqueue(redirect(server_.baseUrl() + "/y"));
    server_.enqueue(Reply::json(200, R"({"code":0})"));
    EXPECT_EQ(outcomeOf("/x").status, FResponseStatus::success);
    EXPECT_EQ(lastRequest().target, "/y");
}

TEST_F(HttpDatasTest, ACompletionFallsSilentWithItsContextAndTheAlertComesAllTheSame) {
    server_.enqueue(Reply::json(200, R"({"code":1,"message":"余额不足"})"));
    for (const bool goes : {true, false}) {
        auto context = std::make_unique<QObject>();
        http_.requestData("/x", HttpMethod::GET, std::nullopt, std::nullopt, context.get(), completion_);
        if (goes)
            context.reset();
        EXPECT_EQ(nextAlert(), "余额不足");
        EXPECT_THAT(outcomes_, SizeIs(goes ? 0 : 1));
    }
}

TEST_F(HttpDatasTest, TheLocalAuthorityCountsForItsHostAlone) {
    // The server's certificate is right for both names of this machine.
    ScriptedHttpServer server(ScriptedHttpServer::Scheme::https);
    server.enqueue(Reply::json(200, "{}"));
    EXPECT_EQ(outcomeOf(server.baseUrl("127.0.0.1")).status, FResponseStatus::failure) << "nothing is trusted yet";
    nextAlert();
    http_.setLocalTrust({"127.0.0.1", tlsFile("authority.pem")});
    EXPECT_EQ(outcomeOf(server.baseUrl("127.0.0.1")).status, FResponseStatus::success);
    EXPECT_EQ(outcomeOf(server.baseUrl("localhost")).status, FResponseStatus::failure);
    nextAlert();
    const SystemTrusts system(tlsFile("authority.pem"));
    http_.setLocalTrust({"127.0.0.1", "another authority"});
    server.enqueue(Reply::json(200, "{}"));
    EXPECT_EQ(outcomeOf(server.baseUrl("127.0.0.1")).status, FResponseStatus::success) << "it adds to the system's";
}

struct ImageLoaderTest : BackendFixture {
    /// A picture that may be kept for an hour.
    static Reply picture() {
        const QByteArray ppm = "P6 3 2 255 " + QByteArray("\xff\0\0", 3).repeated(6); // red
        return {"HTTP/1.1 200 OK\r\nContent-Type: image/x-portable-pixmap\r\nCache-Control: "
                "max-age=3600\r\nContent-Length: " +
                QByteArray::number(ppm.size()) + "\r\n\r\n" + ppm};
    }
    void load(const QString& url, QObject* context) {
        loader_->load(QUrl(url), context, [this](const Result<QImage>& result) { results_.push_back(result); });
    }
    /// The size of the picture, or what is said in its place.
    std::string outcomeOf(const QString& url) {
        results_.clear();
        load(url, &stays_);
        EXPECT_TRUE(results_.empty()) << "later";
        EXPECT_TRUE(waitFor([this] { return !results_.empty(); }));
        const Result<QImage> result = results_.empty() ? failure("nothing came") : results_.front();
        return result ? std::to_string(result->width()) + "x" + std::to_string(result->height())
                      : result.error().toStdString();
    }

    std::unique_ptr<ImageLoader> loader_ = std::make_unique<ImageLoader>(directory_.path());
    std::vector<Result<QImage>> results_;
    QObject stays_;
};

TEST_F(ImageLoaderTest, ThoseWhoWaitForOnePictureShareARequestAndTheNextStartFindsItOnTheDisk) {
    server_.enqueue(picture());
    auto goes = std::make_unique<QObject>();
    for (QObject* context : {goes.get(), &stays_, &stays_})
        load(server_.baseUrl() + "/a.png", context);
    goes.reset();
    ASSERT_TRUE(waitFor([this] { return results_.size() == 2; }));
    EXPECT_EQ(results_.front().value().pixelColor(2, 1), QColor(Qt::red));
    for (const bool hasRoom : {true, false}) {
        loader_ = hasRoom ? std::make_unique<ImageLoader>(directory_.path())
                          : std::make_unique<ImageLoader>(directory_.path(), 10);
        for (const char* name : {"/a.png", "/b.png", "/b.png"})
            EXPECT_EQ(outcomeOf(server_.baseUrl() + name), "3x2");
        EXPECT_EQ(server_.requests().size(), hasRoom ? 2U : 5U);
    }
}

TEST_F(ImageLoaderTest, SaysWhyThereIsNoPictureAndTrustsTheLocalAuthorityForItsHostAlone) {
    server_.enqueue(Reply::json(404, "{}"));
    server_.enqueue(Reply::json(200, "{}"));
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/gone.png"), "图片无法下载：HTTP 404");
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/text.png"), "图片无法识别");
    server_.enqueue(Reply::json(200, QByteArray(20'000'001, ' ')));
    EXPECT_EQ(outcomeOf(server_.baseUrl() + "/large.png"), "图片太大");
    EXPECT_EQ(outcomeOf("file:///etc/passwd"), "图片地址无效");
    EXPECT_THAT(outcomeOf(ScriptedHttpServer::refusingUrl()), ::testing::StartsWith("图片无法下载："));
    ScriptedHttpServer server(ScriptedHttpServer::Scheme::https);
    server.enqueue(picture());
    loader_->setLocalTrust({"127.0.0.1", tlsFile("authority.pem")});
    EXPECT_EQ(outcomeOf(server.baseUrl()), "3x2");
    EXPECT_THAT(outcomeOf(server.baseUrl("localhost")), ::testing::StartsWith("图片无法下载："));
}

} // namespace
} // namespace parlowen::testing
