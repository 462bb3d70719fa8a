#include "ScriptedEngines.h"
#include "Speech/Gateway.h"
#include "Speech/SpeechPlaces.h"
#include "support/RunningService.h"
#include "support/Testing.h"
#include <Wire/SpeechMessage.h>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;
using testing::AnyOf;

namespace {
namespace websocket = boost::beast::websocket;

/// A client of the speech gateway on 127.0.0.1 that blocks. What takes longer than a minute counts as its end.
class GatewayClient {
public:
    /// The `target` holds path and query; the token goes into the header unless it is empty.
    GatewayClient(std::uint16_t port, const std::filesystem::path& authority, const std::string& target,
                  const std::string& token)
        : connection_(port, authority, "127.0.0.1", std::chrono::minutes(1)) {
        socket_.set_option(websocket::stream_base::decorator([token](websocket::request_type& request) {
            if (!token.empty())
                request.set(boost::beast::http::field::authorization, "Bearer " + token);
        }));
        connection_.run([&](const Connection::Done& done) {
            socket_.async_handshake(response_, "127.0.0.1", target, [done](auto error) { done(error, 0); });
        });
    }
    /// Of the upgrade: 101 when the connection is open.
    unsigned status() const { return response_.result_int(); }
    /// False when the connection has ended.
    bool send(const std::string& frame, bool text = true) {
        socket_.text(text);
        return !connection_.run(
            [&](const Connection::Done& done) { socket_.async_write(boost::asio::buffer(frame), done); });
    }
    /// Bytes that are no whole frames.
    void sendRaw(const std::string& bytes) { connection_.send(bytes); }
    /// The next message; none once the connection has ended.
    std::optional<parlowen::wire::SpeechMessage> receive() {
        boost::beast::flat_buffer buffer;
        if (connection_.run([&](const Connection::Done& done) { socket_.async_read(buffer, done); }))
            return std::nullopt;
        auto message = parlowen::wire::decodeText({static_cast<const char*>(buffer.cdata().data()), buffer.size()});
        return message ? std::optional(std::move(*message)) : std::nullopt;
    }
    /// Why the server closed, once receive() gave none: code and reason. Code 1006: without a word.
    std::pair<unsigned, std::string> closed() const {
        const auto& reason = socket_.reason();
        if (reason.code == websocket::close_code::none)
            return {1006, ""};
        return {reason.code, std::string(reason.reason.data(), reason.reason.size())};
    }

private:
    Connection connection_;
    websocket::stream<Connection::Stream&> socket_{connection_.stream()};
    websocket::response_type response_;
};

const std::string plainPath = "/stt/speech/universal/v2?language=en-US";
const std::string plainContext = R"({"phraseDetection":{"mode":"Conversation","language":"en-US"}})";

/// The gateway behind the real server.
struct RunningGateway {
    explicit RunningGateway(std::unique_ptr<SpeechService> speechToServe)
        : speech(std::move(speechToServe))
        , server([this] {
            Router router;
            addSpeechRoutes(router, *speech);
            return router;
        }()) {}
    GatewayClient client(const std::string& target = plainPath) { return client(target, speech->tokens.issue()); }
    GatewayClient client(const std::string& target, const std::string& token) {
        return {server.port(), server.authorityFile(), target, token};
    }

    std::unique_ptr<SpeechService> speech;
    RunningServer server;
};

std::unique_ptr<SpeechService> scriptedService(const SpeechGatewayOptions& options = {}) {
    auto speech = std::make_unique<SpeechService>();
    speech->options = options;
    speech->engines.add(std::make_shared<ScriptedEngine>());
    return speech;
}

/// A client on the only place of a gateway, once that is given back: as soon as the server has seen an end. Else null.
std::unique_ptr<GatewayClient> nextClient(RunningGateway& gateway) {
    std::unique_ptr<GatewayClient> client;
    const bool isFree = eventually(
        [&] {
            client.reset(new GatewayClient(gateway.client())); // in place: it cannot be moved
            return client->status() == 101;
        },
        20s);
    return isFree ? std::move(client) : nullptr;
}

/// A whole text frame as a client sends it, masked with zeros. Short ones only.
std::string maskedFrame(const std::string& payload) {
    return "\x81" + std::string(1, static_cast<char>(0x80 | payload.size())) + std::string(4, '\0') + payload;
}

} // namespace

TEST(Gateway, OnlyAValidTokenOpensItAndWhatCameWithTheUpgradeIsTaken) {
    RunningGateway gateway(scriptedService());
    const auto token = gateway.speech->tokens.issue();
    for (const std::string path : {"/stt/speech/universal/v2", "/speech/translation/cognitiveservices/v1",
                                   "/speech/recognition/dictation/cognitiveservices/v1"}) {
        EXPECT_EQ(gateway.client(path, "").status(), 401U);
        EXPECT_EQ(gateway.client(path, "wrong").status(), 401U);
        EXPECT_EQ(gateway.client(path, token).status(), 101U);
        EXPECT_EQ(gateway.client(path + "?Authorization=Bearer%20" + token, "").status(), 101U);
    }
    const auto client = gateway.server.client().connect(
        "GET " + plainPath + " HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n" +
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: MDEyMzQ1Njc4OTAxMjM0NQ==\r\nAuthorization: Bearer " + token +
        "\r\n\r\n" + maskedFrame("Path: speech.context\r\n\r\n{}"));
    EXPECT_NE(client->receiveUntil("turn.start").find("101"), std::string::npos);
}

TEST(Gateway, GivesAPlaceBackWhateverItsClientDoes) {
    RunningGateway gateway(
        scriptedService({.sessions = 1, .unsentBytes = 1 << 30, .idle = 5s, .write = 200ms, .closing = 200ms}));
    {
        auto client = gateway.client();
        ASSERT_EQ(client.status(), 101U);
        EXPECT_EQ(gateway.client().status(), 503U);
    }
    RunningGateway shared(scriptedService({.sessions = 3, .sessionsOfAUser = 1}));
    const auto first = shared.client();
    EXPECT_EQ(shared.client().status(), 503U) << "another of the same user";
    EXPECT_EQ(shared.client(plainPath, shared.speech->tokens.issue({5, {}})).status(), 101U);
    auto bad = nextClient(gateway);
    ASSERT_TRUE(bad) << "after a connection that was cut";
    // A bad message and the start of a frame in one piece: the server closes while it reads. Then bad UTF-8.
    bad->sendRaw(maskedFrame("no headers") + maskedFrame("a\xff\xfe and more").substr(0, 6));
    EXPECT_FALSE(bad->receive());
    bad->sendRaw(maskedFrame("a\xff\xfe and more").substr(6));
    bad.reset();
    const auto unanswering = nextClient(gateway);
    ASSERT_TRUE(unanswering) << "when closing and reading wait for each other";
    unanswering->send("no headers");
    const auto unreading = nextClient(gateway);
    ASSERT_TRUE(unreading) << "from a client that answers no close";
    const std::string context = "Path: speech.context\r\nX-RequestId: 1\r\n\r\n" + plainContext;
    int sent = 0;
    while (sent < 200'000 && unreading->send(context))
        ++sent;
    EXPECT_LT(sent, 200'000) << "a client that reads nothing is cut";
    EXPECT_TRUE(nextClient(gateway));
}

TEST(Gateway, WhoeverHasMostPlacesGivesTheOneThatIsQuietForLongestToWhoeverHasFewer) {
    RunningGateway gateway(scriptedService({.sessions = 2, .idle = 1h, .quiet = 1h}));
    auto speaking = gateway.client();
    auto quiet = gateway.client();
    speaking.send(parlowen::wire::encode({{{"Path", "audio"}, {"X-RequestId", "1"}}, std::string(640, '\0'), true}),
                  false);
    ASSERT_EQ(speaking.receive().value().path(), "turn.start");
    const auto other = gateway.client(plainPath, gateway.speech->tokens.issue({5, {}}));
    EXPECT_EQ(other.status(), 101U);
    EXPECT_FALSE(quiet.receive());
    EXPECT_EQ(quiet.closed(), std::pair(1001U, std::string("the place was needed for another connection")));
    EXPECT_EQ(gateway.client().status(), 503U) << "each has one";
    EXPECT_EQ(gateway.client(plainPath, gateway.speech->tokens.issue({6, {}})).status(), 503U) << "both are new";
}

TEST(SpeechPlaces, AUsersOwnDeadConnectionGivesWayToTheirNextOne) {
    int lost = 0;
    for (const auto quiet : {0h, 1h}) {
        SpeechPlaces places(4, 1, quiet);
        const auto first = places.take(1);
        first->whenLost([&lost] { ++lost; });
        EXPECT_EQ(places.take(1) != nullptr, quiet == 0h);
    }
    EXPECT_EQ(lost, 1);
}

TEST(Gateway, WhatItCannotDoItSaysInTheClose) {
    const auto closeAfter = [](std::chrono::milliseconds idle, const auto& act) {
        RunningGateway gateway(scriptedService({.idle = idle}));
        auto client = gateway.client("/stt/speech/universal/v2");
        act(client);
        while (client.receive()) {
        }
        return client.closed();
    };
    EXPECT_EQ(closeAfter(1h,
                         [](auto& client) {
                             client.send("Path: speech.context\r\n\r\n{\"phraseDetection\":{\"language\":\"zh-CN\"}}");
                         }),
              std::pair(1007U, std::string("locale zh-CN is not offered; offered: en-US, en-GB")));
    EXPECT_EQ(closeAfter(300ms, [](auto&) {}), std::pair(1000U, std::string("no sound arrived for too long")));
}

TEST(Gateway, AServerThatStopsEndsItsSessions) {
    RunningGateway gateway(scriptedService());
    auto client = gateway.client();
    client.send("Path: speech.context\r\nX-RequestId: 1\r\n\r\n" + plainContext);
    ASSERT_EQ(client.receive().value().path(), "turn.start");
    gateway.server.stop();
    EXPECT_FALSE(client.receive());
    EXPECT_EQ(client.closed().first, 1006U);
}
