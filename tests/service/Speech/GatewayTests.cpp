#include "GatewayClient.h"
#include "ScriptedEngines.h"
#include "Speech/Gateway.h"
#include "Speech/PocketSphinxEngine.h"
#include "service/Http/RunningServer.h"
#include "support/WordErrorRate.h"

#include <cstring>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <thread>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;
using nlohmann::json;
using parlowen::wire::SpeechMessage;
using testing::AnyOf;
using testing::HasSubstr;

namespace {

const std::string plainPath = "/stt/speech/universal/v2?language=en-US";
const std::string plainContext = R"({"phraseDetection":{"mode":"Conversation","language":"en-US"}})";
const std::filesystem::path sampleFolder = PARLOWEN_SOURCE_DIR "/resources/sample-interview";

std::vector<std::int16_t> sampleAudio() {
    const auto bytes = contentsOf(sampleFolder / "sample-interview.wav");
    constexpr std::size_t header = 44;
    EXPECT_EQ(bytes.substr(36, 4), "data");
    std::vector<std::int16_t> samples((bytes.size() - header) / 2);
    std::memcpy(samples.data(), bytes.data() + header, samples.size() * 2);
    return samples;
}

std::vector<json> bodiesOf(const std::vector<SpeechMessage>& messages, std::string_view path) {
    std::vector<json> result;
    for (const auto& message : messages)
        if (message.path() == path)
            result.push_back(json::parse(message.body));
    return result;
}

std::string joined(const std::vector<json>& phrases, const char* member) {
    std::string text;
    for (const auto& phrase : phrases)
        text += phrase.at(member).get<std::string>() + '\n';
    return text;
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
        return {server.port(), server.authority(), target, token};
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

} // namespace

TEST(Gateway, HearsTheSampleInterview) {
    RunningGateway gateway(SpeechService::withLocalEngines());
    auto client = gateway.client();
    ASSERT_EQ(client.status(), 101U);
    const auto audio = sampleAudio();
    client.sendTurn("0123456789abcdef0123456789abcdef", plainContext, audio);
    const auto messages = client.receiveTurn();

    const auto phrases = bodiesOf(messages, "speech.phrase");
    const auto reference = contentsOf(sampleFolder / "sample-interview.txt");
    const auto heard = joined(phrases, "DisplayText");
    EXPECT_LE(wordErrorRate(reference, heard), 0.12) << heard;
    ASSERT_EQ(phrases.size(), 6U);

    std::int64_t end = 0;
    for (const auto& phrase : phrases) {
        EXPECT_EQ(phrase.at("RecognitionStatus"), "Success");
        EXPECT_GE(phrase.at("Offset").get<std::int64_t>(), end);
        end = phrase.at("Offset").get<std::int64_t>() + phrase.at("Duration").get<std::int64_t>();
    }
    EXPECT_LE(end, ticksOfSamples(static_cast<std::int64_t>(audio.size())));
    EXPECT_GE(bodiesOf(messages, "speech.hypothesis").size(), 6U * 4);
    EXPECT_EQ(messages.front().path(), "turn.start");
    EXPECT_EQ(messages.back().path(), "turn.end");
    for (const auto& message : messages)
        EXPECT_EQ(message.requestId(), "0123456789abcdef0123456789abcdef");
}

TEST(Gateway, TranslatesWhatItHears) {
    RunningGateway gateway(SpeechService::withLocalEngines());
    auto client = gateway.client("/stt/speech/universal/v2?from=en-US&to=es&scenario=conversation");
    const auto audio = sampleAudio();
    const auto question = std::span(audio).subspan(8 * sampleRate, 7 * sampleRate);
    client.sendTurn("1", R"({"phraseDetection":{"mode":"Conversation","language":"en-US",
        "onSuccess":{"action":"Translate"},"onInterim":{"action":"Translate"}},
        "translation":{"targetLanguages":["es"],"output":{"interimResults":{"mode":"Always"}}},
        "phraseOutput":{"interimResults":{"resultType":"None"},"phraseResults":{"resultType":"None"}}})",
                    question);
    std::vector<json> finals;
    std::size_t partials = 0;
    for (auto& body : bodiesOf(client.receiveTurn(), "translation.response")) {
        EXPECT_EQ(body.at("TranslationStatus"), "Success");
        if (body.contains("SpeechPhrase"))
            finals.push_back(std::move(body));
        else
            ++partials;
    }
    EXPECT_GE(partials, 1U);
    ASSERT_EQ(finals.size(), 1U);
    EXPECT_THAT(finals[0].at("SpeechPhrase").at("DisplayText"), HasSubstr("company"));
    EXPECT_EQ(finals[0].at("Translations").at(0).at("Language"), "es");
    EXPECT_THAT(finals[0].at("Translations").at(0).at("DisplayText"), HasSubstr("empresa"));
}

TEST(Gateway, SeveralSessionsAtTheSameTimeAndTurnsOfEach) {
    RunningGateway gateway(SpeechService::withLocalEngines());
    const auto audio = sampleAudio();
    const auto first = std::span(audio).subspan(8 * sampleRate, 7 * sampleRate);
    const auto second = std::span(audio).subspan(15 * sampleRate, 7 * sampleRate);
    std::string heardByOther;
    std::thread other([&] {
        auto client = gateway.client("/speech/recognition/conversation/cognitiveservices/v1?language=en-US");
        client.sendTurn("a", plainContext, second);
        heardByOther = joined(bodiesOf(client.receiveTurn(), "speech.phrase"), "DisplayText");
    });
    auto client = gateway.client();
    client.sendTurn("b", plainContext, first);
    const auto heardByOne = joined(bodiesOf(client.receiveTurn(), "speech.phrase"), "DisplayText");
    client.sendTurn("c", plainContext, first);
    const auto again = bodiesOf(client.receiveTurn(), "speech.phrase");
    other.join();
    EXPECT_THAT(heardByOne, HasSubstr("products"));
    EXPECT_THAT(heardByOther, HasSubstr("greatest"));
    EXPECT_EQ(joined(again, "DisplayText"), heardByOne) << "nothing of the first turn is left in the decoder";
    ASSERT_EQ(again.size(), 1U);
    EXPECT_LT(again[0].at("Offset").get<std::int64_t>(), 15'000'000) << "offsets begin anew with the turn";
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
        EXPECT_EQ(gateway.client(path + "?Authorization=Bearer+wrong", "").status(), 401U);
    }
}

TEST(Gateway, RefusesOneConnectionTooMany) {
    RunningGateway gateway(scriptedService({.sessions = 1}));
    {
        auto first = gateway.client();
        ASSERT_EQ(first.status(), 101U);
        EXPECT_EQ(gateway.client().status(), 503U);
    }
    unsigned status = 503; // the place is free as soon as the server has seen the end
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (status == 503 && std::chrono::steady_clock::now() < deadline)
        status = gateway.client().status();
    EXPECT_EQ(status, 101U);
}

TEST(Gateway, WhatItCannotDoItSaysInTheClose) {
    RunningGateway gateway(SpeechService::withLocalEngines());
    const auto closeAfter = [&gateway](const auto& act) {
        auto client = gateway.client("/stt/speech/universal/v2");
        EXPECT_EQ(client.status(), 101U);
        act(client);
        while (client.receive()) {
        }
        return client.closed();
    };
    EXPECT_EQ(closeAfter([](auto& client) {
                  client.send("Path: speech.context\r\n\r\n{\"phraseDetection\":{\"language\":\"zh-CN\"}}");
              }),
              std::pair(1007U, std::string("locale zh-CN is not offered; offered: en-US")));
    EXPECT_EQ(closeAfter([](auto& client) { client.send("\xff", false); }).first, 1007U);
    EXPECT_EQ(closeAfter([](auto& client) { client.send("a\xff\xfe"); }).first, 1007U);
    // A client that is still sending may find the connection gone before it reads the close.
    EXPECT_THAT(closeAfter([](auto& client) { client.send(std::string(100'000, 'x'), false); }).first,
                AnyOf(1009U, 1006U));
}

TEST(Gateway, IdleAndLongConnectionsEnd) {
    RunningGateway idle(scriptedService({.idle = 1s}));
    auto client = idle.client();
    EXPECT_FALSE(client.receive());
    EXPECT_EQ(client.closed(), std::pair(1000U, std::string("nothing arrived for too long")));

    RunningGateway brief(scriptedService({.longestUse = 1s}));
    auto other = brief.client();
    EXPECT_FALSE(other.receive());
    EXPECT_EQ(other.closed().first, 1000U);
}

TEST(Gateway, AServerThatStopsEndsItsSessions) {
    RunningGateway gateway(SpeechService::withLocalEngines());
    auto client = gateway.client();
    const auto audio = sampleAudio();
    client.sendTurn("x", plainContext, std::span(audio).first(20 * sampleRate));
    ASSERT_TRUE(client.receive()); // in the middle of its work
    gateway.server.stop();
    while (client.receive()) {
    }
    EXPECT_EQ(client.closed().first, 1006U);
}

TEST(PocketSphinxEngine, TakesNoMoreStreamsThanItMayAndNothingWithoutItsModel) {
    PocketSphinxEngine engine({.streams = 1});
    const auto ignore = [](const RecognitionEvent&) {};
    auto stream = engine.open("en-US", ignore);
    EXPECT_TRUE(stream);
    EXPECT_FALSE(engine.open("en-US", ignore));
    stream.reset();
    EXPECT_TRUE(engine.open("en-US", ignore));

    PocketSphinxEngine without({.models = "/nowhere"});
    EXPECT_TRUE(without.locales().empty());
    EXPECT_FALSE(without.open("en-US", ignore));
}
