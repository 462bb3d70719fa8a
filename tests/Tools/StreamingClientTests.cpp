#include <Foundation/Bundle.h>
#include <Foundation/MainQueue.h>
#include <Tools/StreamingClient.h>
#include <gmock/gmock.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <mutex>
#include <set>
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

QByteArray event(const QString& content) {
    const QJsonObject inner{{"content", content}};
    return "data: " + QJsonDocument(QJsonObject{{"data", inner}}).toJson(QJsonDocument::Compact) + "\n\n";
}

/// What a model reported, and on which threads.
class Reports {
public:
    void watch(StreamModel& model) {
        model.setOnUpdate([this](const QString& text) { note(updates_, text); });
        model.setDidComplete([this](const QString& text) { note(ends_, text); });
    }
    QStringList updates() const { return copy(updates_); }
    QStringList ends() const { return copy(ends_); }
    std::set<std::thread::id> threads() const {
        const std::lock_guard lock(mutex_);
        return threads_;
    }

private:
    void note(QStringList& list, const QString& text) {
        const std::lock_guard lock(mutex_);
        list << text;
        threads_.insert(std::this_thread::get_id());
    }
    QStringList copy(const QStringList& list) const {
        const std::lock_guard lock(mutex_);
        return list;
    }

    mutable std::mutex mutex_;
    QStringList updates_;
    QStringList ends_;
    std::set<std::thread::id> threads_;
};

class StreamingClientTest : public ::testing::Test {
protected:
    StreamingClientTest() { reports_.watch(*model_); }

    std::shared_ptr<StreamingClient> client() { return StreamingClient::make(model_, environment_); }

    bool waitForText(const QString& text) {
        return waitFor([&] { return model_->responseText() == text; });
    }
    bool waitForEnd() {
        return waitFor([this] { return !reports_.ends().isEmpty(); });
    }
    void expectOneEnd(const QString& logged) const {
        EXPECT_THAT(reports_.ends(), ElementsAre("已完成"));
        EXPECT_THAT(log_.lines(), ElementsAre(logged));
    }

    CapturedLog log_;
    ScriptedHttpServer server_;
    StreamingEnvironment environment_{server_.baseUrl() + "/api/v1", [] { return std::optional<QString>("abc"); }, {}};
    Reports reports_;
    const std::shared_ptr<StreamModel> model_ =
        std::make_shared<StreamModel>(4, 2, "为什么选择 \"C++\"?", "工程师", "英语（美国）", "");
};

TEST_F(StreamingClientTest, TheQuestionGoesOutWithItsHeaders) {
    server_.enqueue(Reply::eventStream());
    client()->start();
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    const ScriptedHttpServer::Request& request = server_.requests().front();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/api/v1/ai/meeting");
    std::vector<std::pair<QByteArray, QByteArray>> first(request.headers.begin(), request.headers.end());
    std::erase_if(first, [](const auto& header) {
        return QByteArrayList{"Host",      "Connection", "Content-Length", "Accept-Encoding", "Accept-Language",
                              "User-Agent"}
            .contains(header.first);
    });
    EXPECT_THAT(first, ElementsAre(std::pair("Version", Bundle::shortVersion().toUtf8()),
                                   std::pair("Accept", "application/json"),
                                   std::pair("Content-Type", "application/json"), std::pair("platform", "4"),
                                   std::pair("lan", "zh-Hans"), std::pair("Authorization", "Bearer abc")));
    EXPECT_EQ(QJsonDocument::fromJson(request.body).object(), (QJsonObject{{"type", 2},
                                                                           {"txt", "为什么选择 \"C++\"?"},
                                                                           {"prompt", "工程师"},
                                                                           {"original_language", "英语（美国）"},
                                                                           {"trans_language", ""}}));
    server_.endStream();
    EXPECT_TRUE(waitForEnd());
}

TEST_F(StreamingClientTest, WithoutATokenThereIsNoAuthorization) {
    server_.enqueue(Reply::eventStream());
    environment_.loginToken = [] { return std::optional<QString>(); };
    client()->start();
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    EXPECT_EQ(server_.requests().front().header("Authorization"), std::nullopt);
    server_.endStream();
    EXPECT_TRUE(waitForEnd());
}

TEST_F(StreamingClientTest, TheAnswerGrowsPieceByPieceOnOneBackgroundThread) {
    server_.enqueue(Reply::eventStream());
    client()->start(); // nobody holds it from here on
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    const QByteArray second = event("好😀");
    const qsizetype insideACharacter = second.indexOf("😀") + 2;
    server_.sendPiece(event("你") + second.first(insideACharacter));
    ASSERT_TRUE(waitForText("你"));
    server_.sendPiece(second.sliced(insideACharacter) + ": still here\n\ndata: {broken\n" + event("") + event("。"));
    ASSERT_TRUE(waitForText("你好😀。"));
    server_.sendPiece(event("@@"));
    server_.endStream();
    ASSERT_TRUE(waitForEnd());
    EXPECT_THAT(reports_.updates(), ElementsAre("你", "你好😀", "你好😀", "你好😀。"));
    EXPECT_THAT(reports_.threads(), SizeIs(1));
    EXPECT_EQ(reports_.threads().count(std::this_thread::get_id()), 0U);
    expectOneEnd("✅ 流式连接结束");
}

TEST_F(StreamingClientTest, TheConnectionKeepsItsClientAndNoLonger) {
    server_.enqueue(Reply::eventStream());
    auto owned = client();
    const std::weak_ptr<StreamingClient> weak = owned;
    owned->start();
    owned.reset();
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    EXPECT_FALSE(weak.expired());
    server_.endStream();
    EXPECT_TRUE(waitFor([&weak] { return weak.expired(); }));
    EXPECT_THAT(reports_.ends(), SizeIs(1));
}

TEST_F(StreamingClientTest, AStreamCutInHalfKeepsItsText) {
    server_.enqueue(Reply::eventStream());
    client()->start();
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    const QByteArray last = event("丢");
    server_.sendPiece(event("half") + last.first(last.indexOf("丢") + 1));
    ASSERT_TRUE(waitForText("half"));
    server_.closeConnection();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(model_->responseText(), "half");
    EXPECT_THAT(reports_.ends(), ElementsAre("已完成"));
    EXPECT_THAT(log_.linesWith("❌ 流式连接错误："), SizeIs(1));
}

TEST_F(StreamingClientTest, AServiceThatRefusesEndsTheStreamAtOnce) {
    environment_.baseUrl = ScriptedHttpServer::refusingUrl();
    client()->start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(model_->responseText(), "");
    EXPECT_THAT(reports_.ends(), ElementsAre("已完成"));
    EXPECT_THAT(log_.linesWith("❌ 流式连接错误："), SizeIs(1));
}

TEST_F(StreamingClientTest, AnErrorStatusIsJustAStreamWithoutText) {
    server_.enqueue(Reply::json(401, "{\"code\":401,\"message\":\"登录已过期\"}\n"));
    client()->start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_THAT(reports_.updates(), IsEmpty());
    expectOneEnd("✅ 流式连接结束");
}

TEST_F(StreamingClientTest, ASilentServiceTimesOut) {
    server_.enqueue(Reply::silence());
    environment_.timeout = std::chrono::milliseconds(200);
    client()->start();
    ASSERT_TRUE(waitForEnd());
    expectOneEnd("❌ 流式连接错误：请求超时");
}

TEST_F(StreamingClientTest, CancellingMidAnswerStopsTheText) {
    server_.enqueue(Reply::eventStream());
    const auto running = client();
    running->start();
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    server_.sendPiece(event("a"));
    ASSERT_TRUE(waitForText("a"));
    running->cancel();
    EXPECT_TRUE(running->isCancelled());
    server_.sendPiece(event("b"));
    ASSERT_TRUE(waitFor([this] { return server_.isConnectionClosed(); }));
    ASSERT_TRUE(waitForEnd());
    running->cancel();
    EXPECT_TRUE(waitFor([&running] { return running.use_count() == 1; }));
    EXPECT_EQ(model_->responseText(), "a");
    expectOneEnd("❌ 流式连接错误：已取消");
}

TEST_F(StreamingClientTest, CancellingBetweenTwoLinesOfOneDeliveryDropsTheSecond) {
    const auto running = client();
    model_->setOnUpdate([weak = std::weak_ptr(running)](const QString&) { weak.lock()->cancel(); });
    const QByteArray both = event("a") + event("b");
    server_.enqueue({Reply::eventStream().bytes + QByteArray::number(both.size(), 16) + "\r\n" + both + "\r\n"});
    running->start();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(model_->responseText(), "a");
}

TEST_F(StreamingClientTest, NothingIsSentWhenCancelledBeforeOrWithoutAUrl) {
    const auto cancelled = client();
    cancelled->cancel();
    cancelled->start();
    environment_.baseUrl = "no url";
    const auto homeless = client();
    homeless->start();
    EXPECT_TRUE(waitFor([&] { return cancelled.use_count() == 1 && homeless.use_count() == 1; }));

    environment_.baseUrl = server_.baseUrl();
    server_.enqueue(Reply::eventStream());
    client()->start();
    ASSERT_TRUE(waitFor([this] { return !server_.requests().empty(); }));
    server_.endStream();
    ASSERT_TRUE(waitForEnd());
    EXPECT_THAT(server_.requests(), SizeIs(1));
    expectOneEnd("✅ 流式连接结束");
}

TEST_F(StreamingClientTest, NoAnswerWaitsForThoseBeforeIt) {
    const QByteArray piece = event("a");
    server_.enqueue({Reply::eventStream().bytes + QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n"});
    std::vector<std::shared_ptr<StreamingClient>> clients;
    for (int i = 0; i < 10; ++i) {
        const auto model = std::make_shared<StreamModel>(i, 1, "q", "", "", "");
        clients.push_back(StreamingClient::make(model, environment_));
        clients.back()->start();
    }
    EXPECT_TRUE(waitFor([&clients] {
        return std::all_of(clients.begin(), clients.end(),
                           [](const auto& running) { return running->model()->responseText() == "a"; });
    }));
    for (const auto& running : clients)
        running->cancel();
    EXPECT_TRUE(waitFor([&clients] {
        return std::all_of(clients.begin(), clients.end(),
                           [](const auto& running) { return running.use_count() == 1; });
    }));
    // The kept connections serve the next one.
    server_.enqueue({Reply::eventStream().bytes + "0\r\n\r\n"});
    client()->start();
    EXPECT_TRUE(waitForEnd());
}

} // namespace
} // namespace parlowen
