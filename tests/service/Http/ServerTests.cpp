#include "Http/HttpMessage.h"
#include "Http/OpenConnections.h"
#include "support/RunningService.h"

#include <boost/asio/read.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/error.hpp>
#include <future>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/Testing.h"

using namespace parlowen::service;
using namespace parlowen::testing;
using boost::asio::awaitable;
using namespace std::chrono_literals;

namespace {

awaitable<HttpResponse> echo(const HttpRequest& request) {
    co_return success({{"path", request.path}, {"rest", request.rest}, {"body", request.body()}});
}

awaitable<HttpResponse> broken(const HttpRequest&) {
    throw std::runtime_error("broken on purpose");
    co_return success();
}

/// Keeps how much came in how many pieces.
struct CountingSink : BodySink {
    std::size_t bytes = 0;
    std::size_t pieces = 0;
    void take(std::string_view piece) override {
        bytes += piece.size();
        ++pieces;
    }
};

awaitable<HttpResponse> count(const HttpRequest& request) {
    const auto& sink = static_cast<const CountingSink&>(*request.sink);
    co_return success({{"bytes", sink.bytes}, {"pieces", sink.pieces}, {"body", request.body()}});
}

Router testRouter() {
    Router router;
    const RouteRules guarded{.right =
                                 [](const HttpRequest& request) {
                                     const bool good = request.bearerToken() == "good";
                                     if (good)
                                         request.isOf(1);
                                     return good ? std::nullopt : std::optional(unauthorized());
                                 },
                             .bodyBytes = 10};
    router.route(verb::get, "/echo", echo);
    router.route(verb::post, "/echo", echo, {.bodyBytes = 1 << 20});
    router.route(verb::put, "/item/*", echo);
    router.route(verb::get, "/broken", broken);
    router.route(verb::get, "/guarded", echo, guarded);
    router.route(verb::post, "/guarded", echo, guarded);
    router.route(verb::post, "/small", echo, {.bodyBytes = 10});
    router.route(verb::post, "/poured", count,
                 {.bodyBytes = 1 << 20, .sink = [](const HttpRequest&) { return std::make_unique<CountingSink>(); }});
    router.webSocket("/socket", [](const HttpRequest&, UpgradedStream) -> awaitable<void> { co_return; });
    return router;
}

const ServerLimits impatient{.handshake = 3s, .idle = 300ms, .header = 300ms, .body = 300ms, .upload = 300ms};

std::string post(const std::string& path, const std::string& headersAndBody) {
    return "POST " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headersAndBody;
}

/// The first line and the headers of what a connection answers to those bytes.
std::string answerTo(const RunningServer& server, const std::string& bytes) {
    return server.client().connect(bytes)->receiveUntil("\r\n\r\n");
}

bool stillServes(const RunningServer& server) { return server.client().get("/echo").status == 200; }

} // namespace

TEST(Server, RoutesAndAnswersInEnvelopes) {
    const RunningServer server(testRouter());
    const ServiceClient client = server.client();
    const Reply reply = client.send("POST", "/echo?x=1", "{}");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, R"({"code":0,"message":"","data":{"body":"{}","path":"/echo","rest":""}})");
    EXPECT_EQ(client.send("PUT", "/item/2").data().at("rest"), "2");

    const std::array<std::tuple<const char*, const char*, int>, 6> refused{{
        {"GET", "/nothing", 404},
        {"PUT", "/item/", 404},
        {"PUT", "/item/2/3", 404},
        {"GET", "/guarded", 401},
        {"GET", "/broken", 500},
        {"GET", "/socket", 426},
    }};
    for (const auto& [method, path, status] : refused) {
        const Reply refusal = client.send(method, path);
        EXPECT_EQ(refusal.status, status) << path;
        EXPECT_EQ(refusal.code(), status) << path;
        EXPECT_FALSE(refusal.message().empty()) << path;
    }
    EXPECT_EQ(client.get("/guarded", "good").status, 200);
    const auto oldUpgrade = "GET /socket HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                            "Sec-WebSocket-Key: MDEyMzQ1Njc4OTAxMjM0NQ==\r\nSec-WebSocket-Version: 12\r\n\r\n";
    EXPECT_THAT(answerTo(server, oldUpgrade), ::testing::HasSubstr("Sec-WebSocket-Version: 13"));
    const Reply wrongMethod = client.send("DELETE", "/echo", "unread", {}, {{"Accept-Language", "en-GB,en"}});
    EXPECT_EQ(wrongMethod.message(), "This address takes another method");
    EXPECT_EQ(wrongMethod.status, 405);
    EXPECT_EQ(wrongMethod.headers.at("allow"), "GET, POST");
}

TEST(Server, KeepsAConnectionForFurtherRequests) {
    const RunningServer server(testRouter());
    const auto connection = server.client().connect();
    for (const char* body : {"one", "two"}) {
        ASSERT_TRUE(connection->send(post("/echo", "Content-Length: 3\r\n\r\n") + body));
        EXPECT_NE(connection->receiveUntil("\"}}").find(body), std::string::npos);
        ASSERT_TRUE(connection->send("GET /guarded HTTP/1.1\r\nHost: localhost\r\n\r\n"));
        EXPECT_NE(connection->receiveUntil("null}").find("401"), std::string::npos) << "also after a refusal";
    }
    ASSERT_TRUE(connection->send(post("/echo", "Expect: 100-continue\r\nContent-Length: 3\r\n\r\n")));
    EXPECT_EQ(connection->receiveUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
}

TEST(Server, RefusesByTheHeaderBeforeTheBodyIsReadAndBoundsTheBodyOfEachRoute) {
    const RunningServer server(testRouter());
    const std::string withBody = "Expect: 100-continue\r\nContent-Length: ";
    const std::string eleven = "Transfer-Encoding: chunked\r\n\r\nb\r\n12345678901\r\n0\r\n\r\n";
    for (const auto& [path, rest, status] : {std::tuple("/guarded", withBody + "5\r\n\r\n", "401"),
                                             {"/nothing", withBody + "5\r\n\r\n", "404"},
                                             {"/echo", withBody + "1048577\r\n\r\n", "413"},
                                             {"/small", withBody + "11\r\n\r\n", "413"},
                                             {"/echo", eleven, "200"},
                                             {"/small", eleven, "413"}})
        EXPECT_EQ(answerTo(server, post(path, rest)).substr(9, 3), status) << path << rest;
    EXPECT_EQ(server.client().send("POST", "/echo", std::string(1024 * 1024, 'x')).status, 200);
}

TEST(Server, PoursABodyIntoASinkPieceByPiece) {
    const RunningServer server(testRouter());
    for (const auto& [bytes, pieces] : {std::pair(0, 0), {1, 1}, {256 * 1024, 1}, {1 << 20, 4}}) {
        const auto counted = server.client().send("POST", "/poured", std::string(static_cast<std::size_t>(bytes), 'x'));
        EXPECT_EQ(counted.data().at("bytes"), bytes);
        EXPECT_LE(counted.data().at("pieces"), pieces) << "not each read by itself";
        EXPECT_EQ(counted.data().at("body"), "");
    }
    EXPECT_EQ(server.client().send("POST", "/poured", std::string((1 << 20) + 1, 'x')).status, 413);
    const std::string chunked = "Transfer-Encoding: chunked\r\n\r\nb\r\n12345678901\r\n0\r\n\r\n";
    EXPECT_THAT(server.client().connect(post("/poured", chunked))->receiveUntil("}}"),
                ::testing::HasSubstr("\"bytes\":11"));
}

TEST(Server, EndsConnectionsThatTakeTooLong) {
    const RunningServer server(testRouter(), impatient);
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket noHandshake(io);
    noHandshake.connect({boost::asio::ip::address_v4::loopback(), server.port()});
    const auto idle = server.client().connect();
    const auto halfBody = server.client().connect(post("/echo", "Content-Length: 10\r\n\r\nabc"));
    const auto halfUpload = server.client().connect(post("/poured", "Content-Length: 10\r\n\r\nabc"));
    const auto dribbledHeader = server.client().connect();
    // Each byte comes in time; all together do not.
    pollfd answered{dribbledHeader->stream().next_layer().native_handle(), POLLIN, 0};
    for (int bytes = 0; bytes < 400 && ::poll(&answered, 1, 20) == 0; ++bytes)
        dribbledHeader->send("G");
    for (Connection* connection : {idle.get(), halfBody.get(), halfUpload.get(), dribbledHeader.get()})
        EXPECT_EQ(connection->receiveAll(), "");
    pollfd closed{noHandshake.native_handle(), POLLIN, 0};
    EXPECT_EQ(::poll(&closed, 1, 10'000), 1);
    EXPECT_TRUE(stillServes(server));
}

TEST(Server, KeepsPlacesForThoseWhoHaveSignedIn) {
    const RunningServer reserved(testRouter(), {.connections = 2, .reserve = 2});
    const Reply refused = reserved.client().get("/echo");
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.headers.at("retry-after"), "3");
    for (const char* path : {"/nothing", "/guarded", "/socket"})
        EXPECT_EQ(reserved.client().get(path).status, 503) << path;
    EXPECT_EQ(reserved.client().get("/guarded", "good").status, 200) << "who has signed in gets in";
}

TEST(Server, ARefusedUploadTakesNobodysPlace) {
    const RunningServer server(testRouter(), {.connections = 1, .reserve = 0});
    const std::string tooLarge = post("/poured", "Content-Length: 2000000\r\n\r\n");
    const auto refused = server.client().connect(tooLarge);
    EXPECT_NE(refused->receiveUntil("null}"), "");
    EXPECT_TRUE(stillServes(server));
    const auto ended = server.client().connect(tooLarge);
    EXPECT_NE(ended->receiveUntil("null}"), "");
    char byte = 0;
    EXPECT_EQ(ended->run([&](auto done) { ended->stream().async_read_some(boost::asio::buffer(&byte, 1), done); }),
              boost::asio::ssl::error::stream_truncated)
        << "a stranger's is not waited for";
}

namespace {

/// The server's end of a connection, and the client's.
struct SocketPair {
    SocketPair() { ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()); }
    ~SocketPair() {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    bool wasEnded() const {
        char byte = 0;
        return ::recv(ends[1], &byte, 1, 0) == 0;
    }
    std::array<int, 2> ends{};
};

} // namespace

TEST(OpenConnections, WhoWaitsForLongestGoesFirst) {
    OpenConnections all({.all = 5, .ofAPeer = 3, .reserve = 1, .ofAUser = 4});
    std::array<SocketPair, 8> sockets;
    const auto enter = [&](std::size_t i, const char* peer) { return all.enter(sockets.at(i).ends[0], peer); };
    const auto working = enter(0, "x");
    working->works();
    const auto signedIn = enter(1, "x");
    signedIn->signedIn(1);
    signedIn->waits();
    auto stranger = enter(2, "x");
    const auto fourth = enter(3, "x");
    EXPECT_TRUE(sockets[2].wasEnded()) << "a stranger, of the same peer, not at work";
    EXPECT_FALSE(sockets[0].wasEnded() || sockets[1].wasEnded());
    stranger.reset();

    const auto other = enter(4, "y");
    other->works();
    fourth->works();
    const auto third = enter(5, "y");
    EXPECT_FALSE(third->isSurplus());
    third->works();
    const auto last = enter(6, "");
    EXPECT_EQ(last, nullptr) << "nobody waits whose place could be taken";
    signedIn->waits();
    EXPECT_FALSE(sockets[1].wasEnded()) << "not for a stranger of another peer";
}

TEST(OpenConnections, OneUserAndOneClientOfAProxyHaveAShare) {
    OpenConnections all({.all = 7, .ofAPeer = 2, .reserve = 1, .ofAUser = 4});
    std::array<SocketPair, 9> sockets;
    std::vector<std::unique_ptr<OpenConnections::Place>> places;
    const auto enter = [&] { places.push_back(all.enter(sockets.at(places.size()).ends[0], "")); };
    for (const int user : {1, 2, 2, 2, 2, 2}) {
        enter();
        places.back()->signedIn(user);
        places.back()->waits();
    }
    EXPECT_TRUE(sockets[1].wasEnded()) << "the oldest of a user who has too many";
    places[1].reset();
    for (int stranger = 0; stranger < 2; ++stranger) {
        enter();
        places.back()->works();
        places.back()->isFor("client");
    }
    enter();
    ASSERT_TRUE(places.back()) << "also where all are of users";
    EXPECT_TRUE(sockets[2].wasEnded() && !sockets[0].wasEnded()) << "of the user with the most";

    for (const int working : {0, 3, 4, 5, 8})
        places.at(working)->works();
    places[8]->signedIn(2);
    EXPECT_FALSE(places[8]->isSurplus());
    places[0]->signedIn(2);
    EXPECT_TRUE(places[0]->isSurplus()) << "all that the user has are at work";
    places[0]->isFor("client");
    EXPECT_TRUE(places[0]->isSurplus() && !places[0]->isSignedIn()) << "the next request is somebody else's";
    places[6]->waits();
    places[0]->isFor("client");
    EXPECT_TRUE(!places[0]->isSurplus() && sockets[6].wasEnded());
}

TEST(Server, IsTrustedThroughItsAuthorityForLoopbackAlone) {
    const RunningServer server(testRouter());
    const RunningServer other(testRouter());
    for (const char* host : {"127.0.0.1", "localhost", "::1"})
        EXPECT_NO_THROW(Connection(server.port(), server.authorityFile(), host)) << host;
    EXPECT_THROW(Connection(server.port(), server.authorityFile(), "example.org"), std::runtime_error);
    EXPECT_THROW(Connection(server.port(), other.authorityFile()), std::runtime_error);
}

TEST(TlsStream, SendsSeveralBuffersWholeAndInOrderAndEndsWithTimeoutForALateClient) {
    const TemporaryDirectory directory;
    boost::asio::io_context io;
    boost::asio::ssl::context identity = prepareTls(directory.path() / "tls");
    boost::asio::ssl::context any(boost::asio::ssl::context::tls_client);
    boost::asio::ip::tcp::acceptor acceptor(io, {boost::asio::ip::address_v4::loopback(), 0});
    boost::asio::ssl::stream<boost::asio::ip::tcp::socket> client(io, any);
    client.next_layer().connect(acceptor.local_endpoint());
    TlsStream server(acceptor.accept(), identity);
    const std::string middle(20'000, 'x');
    const std::array<boost::asio::const_buffer, 4> parts{
        boost::asio::buffer("head", 4), {}, boost::asio::buffer(middle), boost::asio::buffer("tail", 4)};
    std::string got(20'008, ' ');
    std::array<char, 1> unsaid{};
    boost::system::error_code late;
    server.async_handshake([&](const auto&) {
        boost::asio::async_write(server, parts, [&](const auto&, std::size_t) {
            server.expires_after(50ms);
            server.async_read_some(boost::asio::buffer(unsaid),
                                   [&](const auto& problem, std::size_t) { late = problem; });
        });
    });
    client.async_handshake(boost::asio::ssl::stream_base::client, [&](const auto&) {
        boost::asio::async_read(client, boost::asio::buffer(got), [](const auto&, std::size_t) {});
    });
    io.run();
    EXPECT_EQ(got, "head" + middle + "tail");
    EXPECT_EQ(late, boost::beast::error::timeout);
}

namespace {

constexpr const char* request = "GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n";

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
    EXPECT_LT(connection->receiveUntil("data: x\n\n").size(), 1'000U) << "each after a pause";
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
