#include "support/Testing.h"
#include <Speech/SpeechConnection.h>
#include <Speech/SpeechTurn.h>
#include <nlohmann/json.hpp>

namespace parlowen::testing {
namespace {

using nlohmann::json;
using Kind = SpeechEvent::Kind;

const SpeechTask plain{"zh-CN", {}};
const SpeechTask translating{"zh-CN", {"en", "zh-Hans"}};

wire::SpeechMessage reply(const std::string& path, std::string body, const char* requestId = "turn1") {
    return {{{"X-RequestId", requestId}, {"Path", path}}, std::move(body), false};
}

/// A final result with the time from the turn's start to its end as bytes of audio.
wire::SpeechMessage phrase(std::uint64_t endByte, const char* status = "Success", const char* requestId = "turn1") {
    const json body{
        {"RecognitionStatus", status}, {"DisplayText", "好。"}, {"Offset", 0}, {"Duration", endByte / 2 * 625}};
    return reply("speech.phrase", body.dump(), requestId);
}

/// It has sent 32,000 bytes.
SpeechTurn turnWithAudio(const SpeechTask& task, std::uint64_t firstByte = 0) {
    SpeechTurn turn(task, "turn1", firstByte);
    for (int piece = 0; piece < 10; ++piece)
        turn.audio(std::string(3200, 'a'));
    return turn;
}

/// What a turn makes of a message, such as "Final 你好。 en=Hello. 6400": the event, its text, the translations and
/// from where audio would be sent again. Without an event only the last.
std::string outcome(const SpeechTask& task, const wire::SpeechMessage& message) {
    SpeechTurn turn = turnWithAudio(task);
    QString words;
    for (const SpeechEvent& event : turn.feed(message)) {
        constexpr std::array kinds{"Partial ", "Final ", "Canceled ", "TurnEnded "};
        words += kinds.at(static_cast<std::size_t>(event.kind)) + event.result.text.value_or("(none)") + ' ';
        for (auto it = event.result.translations.begin(); it != event.result.translations.end(); ++it)
            words += it.key() + '=' + it.value() + ' ';
    }
    return (words + QString::number(turn.resumeAt())).toStdString();
}

TEST(SpeechTurnTest, OpensRecognitionAndTranslation) {
    const SpeechTurn turn(plain, "turn1", 0);
    EXPECT_EQ(turn.configuration().header("Content-Type"), "application/json");
    for (const char* name : {"name", "version", "build", "lang"})
        EXPECT_NE(json::parse(turn.configuration().body)["context"]["system"].value(name, ""), "") << name;
    EXPECT_EQ(json::parse(turn.opening().front().body),
              json::parse(R"({"phraseDetection":{"mode":"Conversation","language":"zh-CN"},"phraseOutput":{}})"));
    EXPECT_EQ(json::parse(SpeechTurn(translating, "turn1", 0).opening().front().body), json::parse(R"({
        "phraseDetection":{"mode":"Conversation","language":"zh-CN",
            "onSuccess":{"action":"Translate"},"onInterim":{"action":"Translate"}},
        "phraseOutput":{"interimResults":{"resultType":"None"},"phraseResults":{"resultType":"None"}},
        "translation":{"targetLanguages":["en","zh-Hans"],
            "output":{"includePassThroughResults":true,"lateResults":true,"interimResults":{"mode":"Always"}},
            "onSuccess":{"action":"None"},"onPassthrough":{"action":"None"}}})"));
}

TEST(SpeechTurnTest, ResultsOfEveryForm) {
    const std::string sentence = R"({"SpeechPhrase":{"DisplayText":"你好。","Offset":0,"Duration":2000000},)";
    const std::vector<std::tuple<SpeechTask, std::string, std::string, std::string>> cases = {
        {plain, "turn.start", R"({"context":{"serviceTag":"x"}})", "0"},
        {plain, "speech.hypothesis", R"({"Text":"你","Offset":0,"Duration":9000000})", "Partial 你 0"},
        {plain, "speech.phrase", R"({"DisplayText":"你好。","Offset":1000000,"Duration":1000000})",
         "Final 你好。 6400"},
        {translating, "translation.response",
         sentence + R"("SpeechHypothesis":{"Text":"你"},"TranslationStatus":"Success","Translations":[
             {"Language":"en","DisplayText":"Hello."},{"Language":"zh-Hans","DisplayText":"您好"}]})",
         "Final 你好。 en=Hello. zh-Hans=您好 6400"},
        // A failed translation keeps the source text.
        {translating, "translation.response",
         sentence + R"("TranslationStatus":"Error","Translations":[{"Language":"en","DisplayText":""}]})",
         "Final 你好。 6400"},
        // The older form.
        {translating, "translation.phrase",
         R"({"Text":"你好","Offset":0,"Duration":2000000,"Translation":{"TranslationStatus":"Success",
             "Translations":[{"Language":"en","Text":"Hello"}]}})",
         "Final 你好 en=Hello 6400"},
        // Beside translated results plain ones would say everything twice, and their translation may still be lost.
        {translating, "speech.phrase", R"({"DisplayText":"a","Offset":0,"Duration":2000000})", "0"},
        // Members of other types than they should have, and bodies that are not what the path promises.
        {translating, "translation.response",
         R"({"SpeechPhrase":{"DisplayText":7,"Offset":"0","Duration":-5,"RecognitionStatus":{}},"TranslationStatus":[],
             "Translations":[3,{"Language":"en"},{"DisplayText":"x"},{"Language":1,"DisplayText":2}]})",
         "Final (none) 0"},
        {translating, "translation.response", "\xFF\xFE", "0"},
        {translating, "translation.response", R"({"SpeechPhrase":3})", "0"},
    };
    for (const auto& [task, path, body, expected] : cases)
        EXPECT_EQ(outcome(task, reply(path, body)), expected) << path << body;
}

TEST(SpeechTurnTest, TranslationsAreKeyedByTheTargetAsItWasAsked) {
    const std::vector<std::array<const char*, 3>> cases = {
        {"en", R"({"Language":"en-US","DisplayText":"primary"},{"Language":"en","DisplayText":"exact"})", "en=exact "},
        {"zh-Hans", R"({"Language":"zh-CN","DisplayText":"primary"})", "zh-Hans=primary "},
        {"EN", R"({"Language":"es","DisplayText":"x"},{"Language":"en","DisplayText":"primary"})", "EN=primary "},
        {"en", R"({"Language":"es","DisplayText":"other"},{"Language":"eng","DisplayText":"other"})", ""},
    };
    for (const auto& [asked, offered, expected] : cases)
        EXPECT_EQ(outcome({"es-ES", {asked}},
                          reply("translation.response",
                                std::string(R"({"SpeechHypothesis":{},"Translations":[)") + offered + "]}")),
                  std::string("Partial (none) ") + expected + "0");
}

TEST(SpeechTurnTest, TheRecognitionStatusDecidesAndMessagesOfOtherTurnsAndBehindItsEndAreDropped) {
    for (const char* status : {"NoMatch", "InitialSilenceTimeout", "BabbleTimeout"})
        EXPECT_EQ(outcome(plain, phrase(6400, status)), "Final (none) 6400") << status;
    for (const char* status : {"Error", "TooManyRequests", "BadRequest", "Forbidden"})
        for (const SpeechTask& task : {plain, translating})
            EXPECT_EQ(outcome(task, phrase(6400, status)), "Canceled (none) 0") << status;
    EXPECT_EQ(outcome(plain, phrase(6400, "EndOfDictation")), "0");
    SpeechTurn turn = turnWithAudio(plain);
    for (const char* other : {"turn0", ""}) {
        EXPECT_TRUE(turn.feed(phrase(6400, "Success", other)).empty());
        EXPECT_TRUE(turn.feed(reply("turn.end", "{}", other)).empty());
    }
    EXPECT_FALSE(turn.hasEnded());
    EXPECT_EQ(turn.feed(reply("turn.end", "")).size(), 1U);
    EXPECT_TRUE(turn.hasEnded());
    EXPECT_TRUE(turn.feed(phrase(6400)).empty());
    EXPECT_EQ(turn.resumeAt(), 0U);
}

TEST(SpeechTurnTest, OffsetsCountFromTheTurnAndNeverBeyondWhatWasSentOrSkipped) {
    SpeechTurn turn = turnWithAudio(plain, 100'000);
    EXPECT_EQ(turn.resumeAt(), 100'000U);
    const auto resumeAfter = [&turn](const wire::SpeechMessage& message) {
        turn.feed(message);
        return turn.resumeAt();
    };
    EXPECT_EQ(resumeAfter(phrase(9600)), 109'600U);
    EXPECT_EQ(resumeAfter(phrase(3200)), 109'600U) << "it never goes back";
    EXPECT_EQ(resumeAfter(reply("speech.phrase", R"({"Offset":1e300,"Duration":1})")), 109'600U) << "no time at all";
    EXPECT_EQ(resumeAfter(reply("speech.phrase", R"({"Offset":3750624,"Duration":0})")), 112'000U) << "rounded down";
    EXPECT_EQ(resumeAfter(phrase(90'000)), 132'000U);
    turn.skip(500'000);
    turn.audio(std::string(3200, 'a'));
    EXPECT_EQ(resumeAfter(phrase(33'600)), 633'600U) << "what was skipped is part of the positions behind it";
}

using namespace std::chrono_literals;

TEST(SpeechEndpointTest, RegionsAndBaseUrls) {
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"eastasia", "wss://eastasia.stt.speech.microsoft.com"},
        {"chinaeast2", "wss://chinaeast2.stt.speech.azure.cn"},
        {"usgovvirginia", "wss://usgovvirginia.stt.speech.azure.us"},
        {"ws://localhost:80/speech/", "ws://localhost:80/speech"},
    };
    for (const auto& [area, base] : cases) {
        const SpeechEndpoint endpoint = SpeechEndpoint::make(area).value();
        const std::string path = base + "/stt/speech/universal/v2";
        EXPECT_EQ(endpoint.recognitionUrl("a&b=c+d#e").toEncoded().toStdString(),
                  path + "?language=a%26b%3Dc%2Bd%23e&format=simple");
        const QUrl translation = endpoint.translationUrl("zh-CN", {"en", "es"});
        EXPECT_EQ(translation.toEncoded(QUrl::RemoveQuery).toStdString(), path);
        EXPECT_EQ(translation.query(QUrl::FullyDecoded), "from=zh-CN&to=en,es&scenario=conversation");
    }
}

TEST(SpeechConfigurationTest, SaysWhatIsWrong) {
    const std::vector<std::array<const char*, 3>> cases = {
        {"", "eastasia", "token is missing"},    {"two\r\nlines", "eastasia", "character"},
        {"token", "", "region is missing"},      {"token", "east.example.com/", "no region"},
        {"token", "-east", "no region"},         {"token", "https://127.0.0.1", "no ws or wss URL"},
        {"token", "wss://", "no ws or wss URL"}, {"token", "wss://host?query=1", "no ws or wss URL"},
    };
    for (const auto& [token, region, expected] : cases) {
        EXPECT_THAT(SPXSpeechTranslationConfiguration::make(token, region).error().toStdString(),
                    ::testing::HasSubstr(expected));
    }
}

TEST(SpeechVerdictTest, SaysWhatHappenedAndWhatToCheckAndWhetherItMayPass) {
    const std::vector<std::tuple<SpeechVerdict, const char*, bool, SPXTrouble>> cases = {
        {afterClose(1006, {}), "1006", true, SPXTrouble::NoConnection},
        {afterClose(4000, {}), "4000", false, SPXTrouble::SessionRefused},
        {afterHttpStatus(401), "401", false, SPXTrouble::TokenRefused},
        {afterHttpStatus(403), "403", false, SPXTrouble::Denied},
        {afterHttpStatus(404), "404", false, SPXTrouble::NoSuchService},
        {afterHttpStatus(302), "302", false, SPXTrouble::NoSuchService},
        {afterHttpStatus(429), "429", true, SPXTrouble::Busy},
        {afterHttpStatus(500), "500", true, SPXTrouble::ServiceFailed},
        {afterRecognitionStatus("Error", "why"), "why", true, SPXTrouble::ServiceFailed},
        {afterRecognitionStatus("Forbidden", {}), "Forbidden", false, SPXTrouble::Denied},
    };
    for (const auto& [verdict, what, mayPass, trouble] : cases) {
        EXPECT_EQ(verdict.reconnect, mayPass) << what;
        EXPECT_EQ(verdict.trouble, trouble) << what;
        for (const Language language : {Language::English, Language::Chinese})
            EXPECT_THAT(verdict.details.in(language).toStdString(), ::testing::HasSubstr(what));
        EXPECT_THAT(verdict.details.english.toStdString(), ::testing::ContainsRegex("check|tried again"));
        EXPECT_THAT(verdict.details.chinese.toStdString(), ::testing::ContainsRegex("请|会再次尝试"));
    }
}

TEST(SpeechVerdictTest, FindsTheStatusInTheWordsOfEachQt) {
    const std::vector<std::pair<const char*, std::optional<int>>> cases = {
        {"QWebSocketPrivate::processHandshake: Unhandled http status code: 403 (Forbidden).", 403},
        {"QWebSocketPrivate::processHandshake: Unsupported WWW-Authenticate challenge encountered.", 401},
        {"QWebSocket::processHandshake: Host requires authentication", 401},
        {"QWebSocketPrivate::processHandshake: Bad request", 400},
        {"Connection refused", std::nullopt},
    };
    for (const auto& [words, status] : cases)
        EXPECT_EQ(httpStatusIn(words), status) << words;
}

TEST(SpeechPacingTest, FiveSecondsAtOnceThenTwiceRealTime) {
    const auto start = SpeechPacing::Clock::time_point(1h);
    auto now = start;
    SpeechPacing pacing(now);
    std::size_t sent = 0;
    for (; sent < 160'000; sent += 3200) {
        ASSERT_EQ(pacing.wait(3200, now), 0ms) << sent;
        pacing.sent(3200);
    }
    EXPECT_EQ(pacing.wait(3200, now), 50ms);
    EXPECT_EQ(pacing.wait(3200, now + 49ms), 1ms);
    for (; sent < 160'000 + 640'000; sent += 3200) {
        for (auto wait = pacing.wait(3200, now); wait > 0ms; wait = pacing.wait(3200, now))
            now += wait;
        pacing.sent(3200);
    }
    EXPECT_NEAR(std::chrono::duration<double>(now - start).count(), 10.0, 0.01);
    now += 60s; // a long pause gives no right to another burst
    std::size_t burst = 0;
    for (; pacing.wait(3200, now) == 0ms; burst += 3200)
        pacing.sent(3200);
    EXPECT_LE(burst, 6400U);
}

TEST(SpeechReconnectTest, PausesGrowToTenSecondsAndStayThere) {
    std::vector<std::chrono::milliseconds> pauses;
    for (const int attempts : {0, 1, 2, 5, 6, 100'000})
        pauses.push_back(SpeechConnection::pauseAfter(attempts, 250ms));
    EXPECT_THAT(pauses, ::testing::ElementsAre(250ms, 500ms, 1s, 8s, 10s, 10s));
}

TEST(PushStreamTest, WakesItsReaderWhenItHasFoundTooLittleAndEndsWithTheClose) {
    SPXPushAudioInputStream stream;
    int woken = 0;
    ASSERT_TRUE(stream.attach([&woken] { ++woken; }));
    EXPECT_FALSE(stream.attach([] {}));
    stream.write("a");
    stream.write("b");
    EXPECT_EQ(woken, 1) << "it has not looked yet";
    EXPECT_TRUE(stream.read(3).bytes.empty());
    stream.write("c");
    EXPECT_EQ(woken, 2);
    EXPECT_EQ(stream.read(3).bytes, "abc");
    stream.write("d");
    stream.close();
    stream.write("after");
    const SPXPushAudioInputStream::Piece last = stream.read(3);
    EXPECT_EQ(last.bytes, "d");
    EXPECT_EQ(last.position, 3U);
    EXPECT_TRUE(last.atEnd);
    EXPECT_FALSE(stream.isRecognized());
    stream.release(4);
    EXPECT_TRUE(stream.isRecognized());
}

constexpr std::size_t second = SpeechBacklog::bytesPerSecond;

void writeSeconds(SPXPushAudioInputStream& stream, int from, int to) {
    for (int i = from; i < to; ++i)
        stream.write(std::string(second, static_cast<char>(i)));
}

TEST(PushStreamTest, KeepsSixtySecondsForWhoeverReadsNextAndTellsWhatItDropped) {
    SPXPushAudioInputStream stream;
    ASSERT_TRUE(stream.attach([] {}));
    writeSeconds(stream, 0, 10);
    ASSERT_EQ(stream.read(10 * second).bytes.size(), 10 * second);
    EXPECT_EQ(stream.waitingSeconds(), 0);
    stream.release(3 * second);
    stream.detach();
    EXPECT_EQ(stream.waitingSeconds(), 7) << "another reader has to begin where the results end";
    stream.noteGap(5); // behind second 10
    writeSeconds(stream, 10, 75);
    EXPECT_EQ(stream.waitingSeconds(), 60);
    ASSERT_TRUE(stream.attach([] {}));
    EXPECT_EQ(stream.rewind(), 15 * second);
    EXPECT_EQ(stream.takeGaps(15 * second), 12 + 5) << "seconds 3 to 15, and the gap among them";
    EXPECT_EQ(stream.takeGaps(75 * second), 0);
    EXPECT_EQ(stream.read(second).bytes, std::string(second, 15));
    // A reader that is too slow skips, and hears of it where it goes on.
    writeSeconds(stream, 75, 95);
    const SPXPushAudioInputStream::Piece piece = stream.read(second);
    EXPECT_EQ(piece.position, 35 * second);
    EXPECT_EQ(piece.bytes, std::string(second, 35));
    EXPECT_EQ(stream.takeGaps(35 * second - 1), 0);
    EXPECT_EQ(stream.takeGaps(35 * second), 19);
    EXPECT_EQ(stream.rewind(), 35 * second);
    EXPECT_EQ(stream.takeGaps(35 * second), 1) << "second 15 was read, and had no result";
}

TEST(PushStreamTest, WhatTheServiceFoundSilentIsNoLossAndSentAgainForItsLastFifteenSecondsAlone) {
    SPXPushAudioInputStream stream;
    writeSeconds(stream, 0, 50);
    stream.settle(40 * second);
    EXPECT_EQ(stream.rewind(), 25 * second);
    EXPECT_EQ(stream.waitingSeconds(), 10);
    writeSeconds(stream, 50, 110);
    EXPECT_EQ(stream.rewind(), 50 * second);
    EXPECT_EQ(stream.takeGaps(50 * second), 10) << "seconds 40 to 50";
}

} // namespace
} // namespace parlowen::testing
