#include "Http/Envelope.h"
#include "RunningServer.h"

#include <gtest/gtest.h>
#include <random>

using namespace parlowen::service;
using namespace parlowen::testing;
using boost::asio::awaitable;
using namespace std::chrono_literals;

namespace {

awaitable<HttpResponse> echo(const HttpRequest& request) {
    co_return success({{"path", request.path}, {"body", request.body}});
}

awaitable<HttpResponse> broken(const HttpRequest&) {
    throw std::runtime_error("broken on purpose");
    co_return success();
}

awaitable<void> refuseSocket(const HttpRequest&, TlsStream) { co_return; }

Router testRouter() {
    Router router;
    router.route(verb::get, "/echo", echo);
    router.route(verb::post, "/echo", echo);
    router.route(verb::put, "/item/*", echo);
    router.route(verb::get, "/broken", broken);
    router.route(verb::get, "/guarded", echo, [](const HttpRequest& request) {
        return request.bearerToken() == "good" ? std::nullopt : std::optional(unauthorized());
    });
    router.webSocket("/socket", refuseSocket);
    return router;
}

ServerLimits impatient() {
    ServerLimits limits;
    limits.handshake = 300ms;
    limits.idle = 300ms;
    limits.header = 300ms;
    limits.body = 300ms;
    return limits;
}

bool stillServes(const RunningServer& server) { return server.client().get("/echo").status == 200; }

} // namespace

TEST(Server, RoutesAndAnswersInEnvelopes) {
    const RunningServer server(testRouter());
    const ServiceClient client = server.client();
    const Reply reply = client.send("POST", "/echo?x=1", "{}");
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.headers.at("content-type"), "application/json; charset=utf-8");
    EXPECT_EQ(reply.body, R"({"code":0,"message":"","data":{"body":"{}","path":"/echo"}})");
    EXPECT_EQ(client.send("PUT", "/item/2").data().at("path"), "/item/2");

    const std::array<std::tuple<const char*, const char*, unsigned>, 6> refused{{
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
    EXPECT_EQ(client.get("/guarded", "good").status, 200U);
    const Reply wrongMethod = client.send("DELETE", "/echo");
    EXPECT_EQ(wrongMethod.status, 405U);
    EXPECT_EQ(wrongMethod.headers.at("allow"), "GET, POST");
}

TEST(Server, KeepsAConnectionForFurtherRequests) {
    const RunningServer server(testRouter());
    const auto connection = server.client().connect();
    for (const char* body : {"one", "two", "three"}) {
        ASSERT_TRUE(connection->send(ServiceClient::request("POST", "/echo", body)));
        connection->receiveUntil("\r\n\r\n");
        EXPECT_NE(connection->receiveUntil("}}").find(body), std::string::npos);
    }
    ASSERT_TRUE(connection->send(ServiceClient::request("POST", "/echo", "", {}, "Expect: 100-continue\r\n")));
    EXPECT_EQ(connection->receiveUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
}

TEST(Server, LimitsTheSizeOfRequests) {
    const RunningServer server(testRouter());
    const ServiceClient client = server.client();
    EXPECT_EQ(client.send("GET", "/echo", {}, {}, "X: " + std::string(9'000, 'x') + "\r\n").status, 431U);
    EXPECT_EQ(client.send("POST", "/echo", std::string(1024 * 1024, 'x')).status, 200U);
    const Reply tooLarge = client.send("POST", "/echo", std::string(1024 * 1024 + 1, 'x'));
    EXPECT_EQ(tooLarge.status, 413U);
    EXPECT_EQ(tooLarge.code(), 413);

    const auto chunked = client.connect("POST /echo HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
    const std::string chunk = "10000\r\n" + std::string(0x10000, 'x') + "\r\n";
    for (int i = 0; i < 17; ++i)
        chunked->send(chunk);
    EXPECT_EQ(parseReply(chunked->receiveAll()).status, 413U);
    EXPECT_EQ(parseReply(client.connect("HELLO\r\n\r\n")->receiveAll()).status, 400U);
}

TEST(Server, EndsConnectionsThatTakeTooLong) {
    const RunningServer server(testRouter(), impatient());
    Connection noHandshake(server.port());
    const auto idle = server.client().connect();
    const auto halfBody = server.client().connect("POST /echo HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\nabc");
    const auto dribbledHeader = server.client().connect();
    const auto start = std::chrono::steady_clock::now();
    // Each byte comes in time; all together do not.
    while (!dribbledHeader->somethingComesWithin(20ms) && std::chrono::steady_clock::now() - start < 5s)
        dribbledHeader->send("G");

    for (Connection* connection : {&noHandshake, idle.get(), halfBody.get(), dribbledHeader.get()})
        EXPECT_EQ(connection->receiveAll(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_TRUE(stillServes(server));
}

TEST(Server, SurvivesWhatIsNoHttps) {
    const RunningServer server(testRouter(), impatient());
    Connection plain(server.port());
    plain.send("GET /echo HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(plain.receiveAll().find("HTTP/1.1 200"), std::string::npos);

    std::mt19937 random(20'261'124);
    for (int round = 0; round < 200; ++round) {
        std::string bytes(1 + random() % 600, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        if (round % 3 == 0)
            Connection(server.port()).send(bytes);
        else
            server.client().connect((round % 3 == 1 ? "POST /echo HTTP/1.1\r\n" : "") + bytes);
    }
    EXPECT_TRUE(stillServes(server));
}

TEST(Server, TurnsAwayWhatIsTooMuchAndRecovers) {
    ServerLimits limits = impatient();
    limits.connections = 20;
    const RunningServer server(testRouter(), limits);
    std::vector<std::unique_ptr<Connection>> idle;
    for (int i = 0; i < 300; ++i)
        idle.push_back(std::make_unique<Connection>(server.port()));
    for (const auto& connection : idle)
        EXPECT_EQ(connection->receive(), "");
    EXPECT_TRUE(stillServes(server));
}

TEST(Server, IsTrustedThroughItsAuthorityForLoopbackAlone) {
    const RunningServer server(testRouter());
    const RunningServer other(testRouter());
    for (const char* host : {"127.0.0.1", "localhost", "::1"})
        EXPECT_NO_THROW(Connection(server.port(), server.authority(), host)) << host;
    EXPECT_THROW(Connection(server.port(), server.authority(), "example.org"), std::runtime_error);
    EXPECT_THROW(Connection(server.port(), other.authority()), std::runtime_error);
}
