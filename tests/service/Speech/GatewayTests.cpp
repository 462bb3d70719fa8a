#include "GatewayClient.h"
#include "ScriptedEngines.h"
#include "Speech/Gateway.h"
#include "support/RunningService.h"

#include <cstring>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <thread>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;
using nlohmann::json;
using testing::AnyOf;
using testing::HasSubstr;

namespace {

const std::string plainPath = "/stt/speech/universal/v2?language=en-US";
const std::string plainContext = R"({"phraseDetection":{"mode":"Conversation","language":"en-US"}})";

std::vector<std::int16_t> sampleAudio() {
    const auto bytes = contentsOf(PARLOWEN_SOURCE_DIR "/resources/sample-interview/sample-interview.wav");
    constexpr std::size_t header = 44;
    EXPECT_EQ(bytes.substr(36, 4), "data");
    std::vector<std::int16_t> samples((bytes.size() - header) / 2);
    std::memcpy(samples.data(), bytes.data() + header, samples.size() * 2);
    return samples;
}

/// The only phrase that is heard in a turn of seven seconds.
json phraseHeard(GatewayClient& client, std::span<const std::int16_t> samples) {
    client.sendTurn("turn", plainContext, samples.first(7 * sampleRate));
    std::vector<json> phrases;
    for (const auto& message : client.receiveTurn()) {
        EXPECT_EQ(message.requestId(), "turn");
        if (message.path() == "speech.phrase")
            phrases.push_back(json::parse(message.body));
    }
    EXPECT_EQ(phrases.size(), 1U);
    return phrases.empty() ? json() : phrases.front();
}

/// The gateway behind the real server.
class RunningGateway {
public:
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

std::unique_ptr<SpeechService> localService() { return SpeechService::withLocalEngines("/nowhere"); }

std::unique_ptr<SpeechService> scriptedService(const SpeechGatewayOptions& options = {}) {
    auto speech = std::make_unique<SpeechService>();
    speech->options = options;
    speech->engines.add(std::make_shared<ScriptedEngine>());
    return speech;
}

/// Whether the only place of a gateway is given back. It is as soon as the server has seen the end.
bool placeIsFree(RunningGateway& gateway) {
    unsigned status = 503;
    for (const auto limit = std::chrono::steady_clock::now() + 20s; status == 503;) {
        status = gateway.client().status();
        if (std::chrono::steady_clock::now() > limit)
            break;
    }
    return status == 101;
}

/// A whole text frame as a client sends it, masked with zeros. Short ones only.
std::string maskedFrame(const std::string& payload) {
    return "\x81" + std::string(1, static_cast<char>(0x80 | payload.size())) + std::string(4, '\0') + payload;
}

} // namespace

TEST(Gateway, SeveralSessionsAtTheSameTimeAndTurnsOfEach) {
    RunningGateway gateway(localService());
    const auto audio = sampleAudio();
    const auto question = std::span(audio).subspan(8 * sampleRate);
    std::thread other([&] {
        auto client = gateway.client("/speech/recognition/conversation/cognitiveservices/v1?language=en-US");
        const json heard = phraseHeard(client, std::span(audio).subspan(15 * sampleRate));
        EXPECT_THAT(heard.at("DisplayText"), HasSubstr("greatest"));
    });
    auto client = gateway.client();
    const json heard = phraseHeard(client, question);
    EXPECT_THAT(heard.at("DisplayText"), HasSubstr("products"));
    EXPECT_GT(heard.at("Duration"), 10'000'000);
    EXPECT_LE(heard.at("Offset").get<std::int64_t>() + heard.at("Duration").get<std::int64_t>(), 70'000'000);
    EXPECT_EQ(phraseHeard(client, question), heard) << "nothing of the first turn is left, and offsets begin anew";
    other.join();
}

TEST(Gateway, OnlyAValidTokenOpensIt) {
    RunningGateway gateway(scriptedService());
    const auto token = gateway.speech->tokens.issue();
    for (const std::string path : {"/stt/speech/universal/v2", "/speech/translation/cognitiveservices/v1",
                                   "/speech/recognition/dictation/cognitiveservices/v1"}) {
        EXPECT_EQ(gateway.client(path, "").status(), 401U);
        EXPECT_EQ(gateway.client(path, "wrong").status(), 401U);
        EXPECT_EQ(gateway.client(path, token).status(), 101U);
        EXPECT_EQ(gateway.client(path + "?Authorization=Bearer%20" + token, "").status(), 101U);
    }
}

TEST(Gateway, GivesAPlaceBackWhateverItsClientDoes) {
    RunningGateway gateway(
        scriptedService({.sessions = 1, .unsentBytes = 1 << 30, .idle = 5s, .write = 200ms, .closing = 200ms}));
    {
        auto client = gateway.client();
        ASSERT_EQ(client.status(), 101U);
        EXPECT_EQ(gateway.client().status(), 503U);
    }
    EXPECT_TRUE(placeIsFree(gateway)) << "after a connection that was cut";
    {
        // A bad message and the start of a frame in one piece: the server closes while it reads. Then bad UTF-8.
        auto client = gateway.client();
        client.sendRaw(maskedFrame("no headers") + maskedFrame("a\xff\xfe and more").substr(0, 6));
        EXPECT_FALSE(client.receive());
        client.sendRaw(maskedFrame("a\xff\xfe and more").substr(6));
    }
    EXPECT_TRUE(placeIsFree(gateway)) << "when closing and reading wait for each other";
    auto unanswering = gateway.client();
    unanswering.send("no headers");
    EXPECT_TRUE(placeIsFree(gateway)) << "from a client that answers no close";
    auto unreading = gateway.client();
    const std::string context = "Path: speech.context\r\nX-RequestId: 1\r\n\r\n" + plainContext;
    int sent = 0;
    while (sent < 200'000 && unreading.send(context))
        ++sent;
    EXPECT_LT(sent, 200'000) << "a client that reads nothing is cut";
    EXPECT_TRUE(placeIsFree(gateway));
}

TEST(Gateway, WhatItCannotDoItSaysInTheClose) {
    RunningGateway gateway(scriptedService({.idle = 300ms}));
    const auto closeAfter = [&gateway](const auto& act) {
        auto client = gateway.client("/stt/speech/universal/v2");
        act(client);
        while (client.receive()) {
        }
        return client.closed();
    };
    EXPECT_EQ(closeAfter([](auto& client) {
                  client.send("Path: speech.context\r\n\r\n{\"phraseDetection\":{\"language\":\"zh-CN\"}}");
              }),
              std::pair(1007U, std::string("locale zh-CN is not offered; offered: en-US, en-GB")));
    EXPECT_EQ(closeAfter([](auto& client) { client.send("\xff", false); }).first, 1007U);
    EXPECT_EQ(closeAfter([](auto& client) { client.send("a\xff\xfe"); }).first, 1007U);
    EXPECT_EQ(closeAfter([](auto&) {}), std::pair(1000U, std::string("nothing arrived for too long")));
    // A client that is still sending may find the connection gone before it reads the close.
    EXPECT_THAT(closeAfter([](auto& client) { client.send(std::string(100'000, 'x'), false); }).first,
                AnyOf(1009U, 1006U));
}

TEST(Gateway, AServerThatStopsEndsItsSessions) {
    RunningGateway gateway(localService());
    auto client = gateway.client();
    const auto audio = sampleAudio();
    client.sendTurn("x", plainContext, std::span(audio).first(20 * sampleRate));
    ASSERT_TRUE(client.receive()); // in the middle of its work
    gateway.server.stop();
    while (client.receive()) {
    }
    EXPECT_EQ(client.closed().first, 1006U);
}
