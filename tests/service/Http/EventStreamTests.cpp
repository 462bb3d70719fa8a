#include "RunningServer.h"

#include <future>
#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;
using boost::asio::awaitable;
using namespace std::chrono_literals;

namespace {

RunningServer serverOf(StreamHandler handler) {
    Router router;
    router.stream(verb::get, "/events", std::move(handler));
    ServerLimits limits;
    limits.streamComment = 40ms;
    limits.write = 200ms;
    return RunningServer(std::move(router), limits);
}

awaitable<void> sendThree(const HttpRequest&, EventStream& events) {
    for (const char* line : {"data: 1\n\n", "", "data: 你好\n\n"})
        co_await events.send(line);
}

awaitable<void> waitLong(const HttpRequest&, EventStream& events) {
    co_await events.send("data: first\n\n");
    co_await events.wait(10min);
    co_await events.send("data: last\n\n");
}

awaitable<void> fail(const HttpRequest&, EventStream& events) {
    co_await events.send("data: 1\n\n");
    throw std::runtime_error("fails on purpose");
}

} // namespace

TEST(EventStream, SendsChunksAndEndsCleanly) {
    const RunningServer server = serverOf(sendThree);
    const Reply reply = server.client().get("/events");
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.headers.at("content-type"), "text/event-stream; charset=utf-8");
    EXPECT_EQ(reply.headers.at("transfer-encoding"), "chunked");
    EXPECT_EQ(reply.body, "data: 1\n\ndata: 你好\n\n");

    const std::string all = server.client().connect("GET /events HTTP/1.0\r\n\r\n")->receiveAll();
    EXPECT_EQ(all.substr(all.find("\r\n\r\n") + 4), "data: 1\n\ndata: 你好\n\n") << "no chunks for HTTP/1.0";
}

TEST(EventStream, HandlerLearnsThatTheClientWent) {
    std::promise<bool> outcome;
    const RunningServer server = serverOf([&](const HttpRequest&, EventStream& events) -> awaitable<void> {
        co_await events.send("data: first\n\n");
        const bool stays = co_await events.wait(10min);
        const bool sent = co_await events.send("data: more\n\n");
        outcome.set_value(stays || sent || !events.clientGone());
    });
    const auto connection = server.client().connect(ServiceClient::request("GET", "/events"));
    connection->receiveUntil("data: first\n\n");
    connection->cut();
    std::future<bool> wrong = outcome.get_future();
    ASSERT_EQ(wrong.wait_for(5s), std::future_status::ready);
    EXPECT_FALSE(wrong.get());
}

TEST(EventStream, AClientThatReadsNothingDoesNotHoldTheServer) {
    std::promise<void> ended;
    const RunningServer server = serverOf([&](const HttpRequest&, EventStream& events) -> awaitable<void> {
        const std::string much(std::size_t{256} * 1024, 'x');
        bool open = true;
        while (open)
            open = co_await events.send(much);
        ended.set_value();
    });
    const auto connection = server.client().connect(ServiceClient::request("GET", "/events"));
    EXPECT_EQ(ended.get_future().wait_for(8s), std::future_status::ready);
}

TEST(EventStream, FailuresAndTheServersEndCloseTheStream) {
    EXPECT_EQ(serverOf(fail).client().get("/events").body, "data: 1\n\n");

    RunningServer server = serverOf(waitLong);
    const auto connection = server.client().connect(ServiceClient::request("GET", "/events"));
    EXPECT_NE(connection->receiveUntil("data: first\n\n"), "");
    EXPECT_EQ(connection->receiveUntil(": wait\n\n\r\n"), "\r\n8\r\n: wait\n\n\r\n") << "while nothing is sent";
    const auto start = std::chrono::steady_clock::now();
    server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2500ms);
    EXPECT_EQ(connection->receiveAll().find("data: last"), std::string::npos);
}
