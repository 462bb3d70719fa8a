#include "support/CapturedLog.h"
#include "support/ScriptedHttpServer.h"
#include "support/Testing.h"
#include "support/TlsFiles.h"
#include "support/WaitFor.h"
#include <Foundation/Bundle.h>
#include <Foundation/MainQueue.h>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkProxyFactory>
#include <QTcpServer>
#include <Tools/AnswerStreamParser.h>
#include <Tools/StreamingClient.h>
#include <thread>

namespace parlowen::testing {
namespace {

using Reply = ScriptedHttpServer::Reply;
using Pieces = std::vector<QString>;

QByteArray event(const QString& content) {
    const QJsonObject inner{{"content", content}};
    return "data: " + QJsonDocument(QJsonObject{{"code", 0}, {"data", inner}}).toJson(QJsonDocument::Compact) + "\n";
}

QByteArray chunk(const QByteArray& bytes) { return QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n"; }

/// The pieces that each single event line gives to a parser of its own.
Pieces piecesOf(const QByteArray& line) { return AnswerStreamParser().feed(line + '\n'); }

void append(Pieces& pieces, const Pieces& more) { pieces.insert(pieces.end(), more.begin(), more.end()); }

TEST(AnswerStreamParserTest, WhereAStreamIsCutMakesNoDifference) {
    const QByteArray stream = event("第一") + ": keep-alive\n\nevent: message\r\n" + event("é😀") +
                              "data: {\"data\":{\"content\":\n" // cut short
                              "data: {\"data\":{\"content\":\"\xff\"}}\n"
                              "data:{\"data\":{\"content\":\"no blank\"}}\n" +
                              event("after\tthe broken ones") + "data: data: " + event("twice").mid(6) +
                              event("with\r").replace("\n", "\r\n") + event("x").chopped(1);
    const Pieces expected = {"第一", "é😀", "after\tthe broken ones", "twice", "with\r"};
    for (qsizetype cut = 0; cut <= stream.size(); ++cut) {
        AnswerStreamParser parser;
        Pieces pieces = parser.feed(stream.first(cut));
        append(pieces, parser.feed(stream.sliced(cut)));
        ASSERT_EQ(pieces, expected) << cut;
        // The line feed that was missing at the end.
        ASSERT_EQ(parser.feed("\n"), Pieces{"x"}) << cut;
    }
}

TEST(AnswerStreamParserTest, OnlyATextAtDataContentCounts) {
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"a","content_type":"b"},"content":"c"})"), Pieces{"a"});
    EXPECT_EQ(piecesOf(R"(data: {"x":{"content":"b"},"data":{"y":{"content":"c"},"content":"a","z":["d"]},"w":["e"]})"),
              Pieces{"a"});
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"first","content":"last"}})"), Pieces{"last"});
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"first"},"data":{"content":"last"}})"), Pieces{"last"});
    EXPECT_EQ(piecesOf("data:  \t{\"data\":{\"content\":\"\\u4e2d\\ud83d\\ude00\"}} "), Pieces{"中😀"});
    // The prefix is removed inside the line too.
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"the data: here"}})"), Pieces{"the here"});
    EXPECT_EQ(piecesOf(R"(data: data: data: {"data":{"content":"a"}}data: )"), Pieces{"a"});
    for (const char* line :
         {"data: ", "data: null", R"(data: [{"data":{"content":"a"}}])", R"(data: {"data":"a"})",
          R"(data: {"data":["content","a"]})", R"(data: {"data":{"content":null}})", R"(data: {"data":{"content":5}})",
          R"(data: {"data":{"content":["a"]}})", R"(data: {"data":{"content":{"content":"a"}}})",
          R"(data: {"data":{"x":{"content":"a"}}})", R"(data: {"data":{"content":"a"},"data":5})",
          R"(data: {"data":{"content":"a","content":5}})", R"(data: {"data":{"content":"a"}} x)",
          R"(data: {"data":{"content":"a"})", R"(data: {"data":{"content":"\ud800"}})", R"({"data":{"content":"a"}})",
          R"( data: {"data":{"content":"a"}})"})
        EXPECT_THAT(piecesOf(line), IsEmpty()) << line;
}

TEST(AnswerStreamParserTest, TheEndMarkHoldsBackTheRestOfItsDelivery) {
    AnswerStreamParser parser;
    EXPECT_THAT(parser.feed(event("a") + event("@@") + event("b") + event("@@") + event("c") + event("d").first(9)),
                ElementsAre("a"));
    EXPECT_THAT(parser.feed(event("d").sliced(9)), ElementsAre("b"));
    EXPECT_THAT(parser.feed(event(" @@")), ElementsAre("c", "d", " @@"));
    EXPECT_THAT(parser.feed(event("@@")), IsEmpty());
    EXPECT_THAT(parser.feed(event("e")), ElementsAre("e"));
}

struct StreamingClientTest : ::testing::Test {
    StreamingClientTest() {
        model_->setOnUpdate([this](const QString& text) { note(updates_, text); });
        model_->setOnEnd([this](const AnswerEnd& end) { note(failures_, answerFailureText(end, Language::English)); });
        model_->setDidComplete([this](const QString& text) { note(ends_, text); });
    }
    void note(QStringList& list, const QString& text) {
        const std::lock_guard lock(mutex_);
        list << text;
        threads_.insert(std::this_thread::get_id());
    }
    std::shared_ptr<StreamingClient> client() { return StreamingClient::make(model_, environment_); }
    /// Starts a client that nobody else holds; whether its request has reached the server, which answers with a stream.
    bool openStream() {
        server_.enqueue(Reply::eventStream());
        client()->start();
        return waitForRequest();
    }
    bool waitForRequest() const {
        return waitFor([this] { return !server_.requests().empty(); });
    }
    bool waitForText(const QString& text) const {
        return waitFor([&] { return model_->responseText() == text; });
    }
    /// Waits for the end; there must be no other, and one more line of the log.
    void expectOneEnd(const QString& logged) {
        EXPECT_TRUE(waitFor([this] {
            const std::lock_guard lock(mutex_);
            return !ends_.isEmpty();
        }));
        const std::lock_guard lock(mutex_);
        EXPECT_THAT(ends_, ElementsAre("已完成"));
        EXPECT_EQ(log_.lines().size(), ++logged_);
        EXPECT_TRUE(log_.lines().last().startsWith(logged)) << log_.lines().last().toStdString();
    }

    CapturedLog log_;
    qsizetype logged_ = 0;
    ScriptedHttpServer server_;
    StreamingEnvironment environment_{server_.baseUrl() + "/api/v1", [] { return std::optional<QString>("abc"); }, {}};
    std::mutex mutex_;
    QStringList updates_;
    QStringList ends_;
    QStringList failures_; ///< why it failed, by end; empty where it did not
    std::set<std::thread::id> threads_;
    const std::shared_ptr<StreamModel> model_ =
        std::make_shared<StreamModel>(4, 2, "为什么选择 \"C++\"?", "工程师", "英语（美国）", "");
};

TEST_F(StreamingClientTest, TheQuestionHasItsHeadersAndTheAnswerGrowsPieceByPieceOnOneBackgroundThread) {
    ASSERT_TRUE(openStream());
    const ScriptedHttpServer::Request& request = server_.requests().front();
    EXPECT_EQ(request.method + " " + request.target, "POST /api/v1/ai/meeting");
    for (const auto& [name, value] : {std::pair("Version", Bundle::shortVersion().toUtf8()),
                                      {"Accept", "application/json"},
                                      {"Content-Type", "application/json"},
                                      {"platform", "4"},
                                      {"lan", "zh-Hans"},
                                      {"Authorization", "Bearer abc"}})
        EXPECT_EQ(request.header(name), value) << name;
    const QByteArray second = event("好😀");
    const qsizetype insideACharacter = second.indexOf("😀") + 2;
    server_.sendPiece(event("你") + second.first(insideACharacter));
    ASSERT_TRUE(waitForText("你"));
    server_.sendPiece(second.sliced(insideACharacter) + ": still here\n\ndata: {broken\n" + event("") + event("。"));
    ASSERT_TRUE(waitForText("你好😀。"));
    server_.sendPiece(event("@@"));
    server_.endStream();
    expectOneEnd("✅ 流式连接结束");
    EXPECT_THAT(failures_, ElementsAre(""));
    EXPECT_THAT(updates_, ElementsAre("你", "你好😀", "你好😀", "你好😀。"));
    EXPECT_THAT(threads_, SizeIs(1));
    EXPECT_FALSE(threads_.contains(std::this_thread::get_id()));
}

TEST_F(StreamingClientTest, AStreamCutInHalfKeepsItsTextAndFails) {
    const QByteArray all = event("half") + '\n' + event("丢");
    const QByteArray half = all.first(all.indexOf("丢") + 1); // in mid-character, mid-line and mid-chunk
    server_.enqueue({Reply::eventStream().bytes + chunk(all).first(half.size() + chunk(all).indexOf("data"))});
    client()->start();
    ASSERT_TRUE(waitForText("half"));
    server_.closeConnection();
    expectOneEnd("❌ 流式连接错误："); // the library takes such an end now for an error, now for a whole reply
    EXPECT_EQ(model_->responseText(), "half");
    EXPECT_TRUE(failures_.front().startsWith("the answer broke off")) << failures_.front().toStdString();
}

TEST_F(StreamingClientTest, ABackendThatRefusesFailsOrIsSilentEndsTheStreamWithAReason) {
    environment_.loginToken = [] { return std::optional<QString>(); };
    const std::pair<std::optional<Reply>, const char*> cases[] = {
        {Reply::json(401, R"({"code":1,"message":"请登录"})"),
         "the backend does not take the sign-in (HTTP 401: 请登录)"},
        {Reply::json(403, "no"), "the backend does not take the sign-in (HTTP 403)"},
        {Reply::json(500, "oops"), "the backend failed (HTTP 500)"},
        {Reply::json(200, R"({"code":7,"message":"次数已用完"})"), "the backend failed (次数已用完)"},
        {Reply::silence(), "the backend cannot be reached (the request timed out)"},
        {std::nullopt, "the backend cannot be reached"}};
    for (const auto& [reply, expected] : cases) {
        environment_.timeout = std::chrono::milliseconds(QByteArray(expected).contains("timed out") ? 200 : 40'000);
        environment_.baseUrl = reply ? server_.baseUrl() : ScriptedHttpServer::refusingUrl();
        server_.enqueue(reply.value_or(Reply()));
        ends_.clear();
        client()->start();
        expectOneEnd("❌ 流式连接错误：");
        EXPECT_TRUE(failures_.last().startsWith(expected)) << failures_.last().toStdString();
    }
    EXPECT_EQ(server_.requests().front().header("Authorization"), std::nullopt) << "without a token";
}

TEST_F(StreamingClientTest, CancellingMidAnswerStopsTheText) {
    server_.enqueue(Reply::eventStream());
    const auto running = client();
    const auto never = client();
    never->cancel();
    never->start();
    running->start();
    ASSERT_TRUE(waitForRequest());
    server_.sendPiece(event("a"));
    ASSERT_TRUE(waitForText("a"));
    running->cancel();
    server_.sendPiece(event("b"));
    ASSERT_TRUE(waitFor([this] { return server_.isConnectionClosed(); }));
    running->cancel();
    EXPECT_TRUE(waitFor([&running] { return running.use_count() == 1; }));
    EXPECT_EQ(model_->responseText(), "a");
    expectOneEnd("🗑️ 流式连接已取消");
    EXPECT_THAT(server_.requests(), SizeIs(1)) << "the other was cancelled before it began";
}

TEST_F(StreamingClientTest, CancellingBetweenTwoLinesOfOneDeliveryDropsTheSecond) {
    const auto running = client();
    model_->setOnUpdate([weak = std::weak_ptr(running)](const QString&) { weak.lock()->cancel(); });
    server_.enqueue({Reply::eventStream().bytes + chunk(event("a") + event("b"))});
    running->start();
    expectOneEnd("🗑️ 流式连接已取消");
    EXPECT_EQ(model_->responseText(), "a");
}

TEST_F(StreamingClientTest, NoAnswerWaitsForThoseBeforeIt) {
    server_.enqueue({Reply::eventStream().bytes + chunk(event("a"))});
    std::vector<std::shared_ptr<StreamingClient>> clients;
    for (int i = 0; i < 10; ++i) {
        const auto model = std::make_shared<StreamModel>(i, 1, "q", "", "", "");
        clients.push_back(StreamingClient::make(model, environment_));
        clients.back()->start();
    }
    const auto allOfThem = [&clients](const auto& condition) {
        return waitFor([&] { return std::all_of(clients.begin(), clients.end(), condition); });
    };
    EXPECT_TRUE(allOfThem([](const auto& running) { return running->model()->responseText() == "a"; }));
    for (const auto& running : clients)
        running->cancel();
    EXPECT_TRUE(allOfThem([](const auto& running) { return running.use_count() == 1; }));
}

TEST_F(StreamingClientTest, AQuestionFindsTheConnectionThatWasOpenedAheadOfIt) {
    ScriptedHttpServer server(ScriptedHttpServer::Scheme::https);
    server.enqueue({Reply::eventStream().bytes + chunk(event("a") + event("@@")) + "0\r\n\r\n"});
    environment_.baseUrl = server.baseUrl();
    environment_.trust = {"127.0.0.1", tlsFile("authority.pem")};
    for (int sentences = 0; sentences < 2; ++sentences) {
        StreamingClient::prepare(environment_);
        ASSERT_TRUE(waitFor([&server] { return server.connections() == 1; }));
    }
    client()->start();
    expectOneEnd("✅ 流式连接结束");
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(StreamingClientTest, AConnectionIsOpenedAheadThroughTheProxyThatTheQuestionWillTake) {
    QTcpServer proxy;
    ASSERT_TRUE(proxy.listen(QHostAddress::LocalHost));
    // Not in the factory, which the library frees under a lock that the thread sanitizer does not see.
    static const quint16 port = proxy.serverPort();
    struct OfHttps : QNetworkProxyFactory {
        QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override {
            return {query.protocolTag() == QLatin1String("https")
                        ? QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", port)
                        : QNetworkProxy(QNetworkProxy::NoProxy)};
        }
    };
    QNetworkProxyFactory::setApplicationProxyFactory(new OfHttps);
    environment_.baseUrl = "https://backend.invalid/api/v1";
    StreamingClient::prepare(environment_);
    EXPECT_TRUE(waitFor([&proxy] { return proxy.hasPendingConnections(); }));
    QNetworkProxyFactory::setUseSystemConfiguration(true);
}

} // namespace
} // namespace parlowen::testing
