#include "support/RunningService.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <future>
#include <gtest/gtest.h>

using namespace parlowen::service;
using namespace parlowen::testing;
using boost::asio::awaitable;
using namespace std::chrono_literals;

namespace {

constexpr const char* request = "GET /events HTTP/1.1\r\nHost: x\r\n\r\n";

struct EventServer : RunningServer {
    explicit EventServer(const EventSource& source)
        : RunningServer(routerOf(source), {.write = 200ms, .streamComment = 40ms}) {}
    static Router routerOf(const EventSource& source) {
        Router router;
        router.stream(verb::get, "/events", [source](const HttpRequest&) { return source; });
        return router;
    }
};

awaitable<void> sendThree(EventStream& events) {
    for (const char* line : {"data: 1\n\n", "", "data: 你好\n\n"})
        co_await events.send(line);
}

awaitable<void> fail(EventStream& events) {
    co_await events.send("data: 1\n\n");
    throw std::runtime_error("fails on purpose");
}

/// Sends so much again and again, with a pause, until the client has gone.
EventSource sendingUntilTheEnd(std::string bytes, std::promise<void>& ended) {
    return [bytes = std::move(bytes), &ended](EventStream& events) -> awaitable<void> {
        boost::asio::steady_timer pause(co_await boost::asio::this_coro::executor);
        bool open = true;
        while (open) {
            pause.expires_after(bytes.size() > 1'000 ? 0ms : 100ms);
            co_await pause.async_wait(boost::asio::use_awaitable);
            open = co_await events.send(bytes);
        }
        EXPECT_TRUE(events.clientGone());
        ended.set_value();
    };
}

} // namespace

TEST(EventStream, SendsChunksAndEndsCleanly) {
    const EventServer server(sendThree);
    const Reply reply = server.client().get("/events");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.headers.at("content-type"), "text/event-stream; charset=utf-8");
    EXPECT_EQ(reply.headers.at("transfer-encoding"), "chunked");
    EXPECT_EQ(reply.body, "data: 1\n\ndata: 你好\n\n");
    const std::string all = server.client().connect("GET /events HTTP/1.0\r\n\r\n")->receiveAll();
    EXPECT_EQ(all.substr(all.find("\r\n\r\n") + 4), "data: 1\n\ndata: 你好\n\n") << "no chunks for HTTP/1.0";
    EXPECT_EQ(EventServer(fail).client().get("/events").body, "data: 1\n\n") << "a failure ends the stream";
}

TEST(EventStream, EndsWhenTheClientGoesOrReadsNothing) {
    std::promise<void> ended;
    const EventServer server(sendingUntilTheEnd("data: x\n\n", ended));
    const auto connection = server.client().connect(request);
    EXPECT_NE(connection->receiveUntil(": wait\n\n\r\n"), "") << "while nothing is sent";
    connection->cut();
    EXPECT_EQ(ended.get_future().wait_for(8s), std::future_status::ready);

    std::promise<void> second;
    const EventServer other(sendingUntilTheEnd(std::string(std::size_t{256} * 1024, 'x'), second));
    const auto unread = other.client().connect(request);
    EXPECT_EQ(second.get_future().wait_for(8s), std::future_status::ready);
}

TEST(EventStream, TheServersEndClosesIt) {
    std::promise<void> ended;
    EventServer server(sendingUntilTheEnd("data: x\n\n", ended));
    const auto connection = server.client().connect(request);
    EXPECT_NE(connection->receiveUntil("data: x\n\n"), "");
    server.stop();
    EXPECT_EQ(ended.get_future().wait_for(0s), std::future_status::ready) << "the handler has returned by then";
}
