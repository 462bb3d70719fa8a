#include <Speech/SpeechTurn.h>
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace parlowen {

namespace {

using nlohmann::json;
using Kind = SpeechEvent::Kind;

const SpeechTask plain{"zh-CN", {}};
const SpeechTask translating{"zh-CN", {"en", "zh-Hans"}};

wire::SpeechMessage reply(std::string path, std::string body, std::string requestId = "turn1") {
    return {{{"X-RequestId", std::move(requestId)}, {"Path", std::move(path)}}, std::move(body), false};
}

std::uint64_t ticksOf(std::uint64_t bytes) { return bytes / 2 * 625; }

json phrase(const char* text, std::uint64_t fromByte, std::uint64_t toByte, const char* status = "Success") {
    return {{"RecognitionStatus", status},
            {"DisplayText", text},
            {"Offset", ticksOf(fromByte)},
            {"Duration", ticksOf(toByte - fromByte)}};
}

json translations(const std::vector<std::pair<const char*, const char*>>& all, const char* textName = "DisplayText") {
    json list = json::array();
    for (const auto& [language, text] : all)
        list.push_back({{"Language", language}, {textName, text}});
    return list;
}

SpeechTurn turnWithAudio(const SpeechTask& task, std::uint64_t firstByte = 0, std::size_t bytes = 64'000) {
    SpeechTurn turn(task, "turn1", firstByte);
    for (std::size_t sent = 0; sent < bytes; sent += 3200)
        turn.audio(std::string(3200, 'a'));
    return turn;
}

/// The only event of a message; a wrong kind or number fails the test.
SpeechEvent onlyEvent(SpeechTurn& turn, const wire::SpeechMessage& message) {
    const std::vector<SpeechEvent> events = turn.feed(message);
    EXPECT_EQ(events.size(), 1U) << message.body;
    return events.empty() ? SpeechEvent{Kind::TurnEnded, {}, "no event"} : events.front();
}

TEST(SpeechTurnTest, OpensPlainRecognition) {
    const SpeechTurn turn(plain, "turn1", 0);
    const auto configuration = turn.configuration();
    EXPECT_EQ(configuration.path(), "speech.config");
    EXPECT_EQ(configuration.header("Content-Type"), "application/json");
    const json system = json::parse(configuration.body)["context"]["system"];
    for (const char* name : {"name", "version", "build", "lang"})
        EXPECT_NE(system.value(name, ""), "") << name;

    const auto opening = turn.opening();
    ASSERT_EQ(opening.size(), 2U);
    EXPECT_EQ(opening[0].path(), "speech.context");
    EXPECT_FALSE(opening[0].binary);
    EXPECT_EQ(json::parse(opening[0].body),
              json::parse(R"({"phraseDetection":{"mode":"Conversation","language":"zh-CN"},"phraseOutput":{}})"));
    EXPECT_EQ(opening[1].path(), "audio");
    EXPECT_TRUE(opening[1].binary);
    EXPECT_EQ(opening[1].header("content-type"), "audio/x-wav");
    EXPECT_EQ(opening[1].body, wire::waveHeader());
    for (const auto& message : opening) {
        EXPECT_EQ(message.requestId(), "turn1");
        EXPECT_THAT(std::string(message.header("X-Timestamp")), ::testing::EndsWith("Z"));
    }
}

TEST(SpeechTurnTest, OpensTranslation) {
    const json context = json::parse(SpeechTurn(translating, "turn1", 0).opening().front().body);
    EXPECT_EQ(context, json::parse(R"({
        "phraseDetection":{"mode":"Conversation","language":"zh-CN",
            "onSuccess":{"action":"Translate"},"onInterim":{"action":"Translate"}},
        "phraseOutput":{"interimResults":{"resultType":"None"},"phraseResults":{"resultType":"None"}},
        "translation":{"targetLanguages":["en","zh-Hans"],
            "output":{"includePassThroughResults":true,"interimResults":{"mode":"Always"}},
            "onSuccess":{"action":"None"},"onPassthrough":{"action":"None"}}})"));
}

TEST(SpeechTurnTest, AudioMessagesCarryTheBytesAndTheEndNone) {
    SpeechTurn turn(plain, "turn1", 0);
    const auto audio = turn.audio("abcd");
    EXPECT_TRUE(audio.binary);
    EXPECT_EQ(audio.path(), "audio");
    EXPECT_EQ(audio.body, "abcd");
    EXPECT_FALSE(turn.audioEnded());
    const auto end = turn.endOfAudio();
    EXPECT_TRUE(end.binary);
    EXPECT_EQ(end.path(), "audio");
    EXPECT_EQ(end.body, "");
    EXPECT_TRUE(turn.audioEnded());
}

TEST(SpeechTurnTest, PlainResults) {
    SpeechTurn turn = turnWithAudio(plain);
    EXPECT_TRUE(turn.feed(reply("turn.start", R"({"context":{"serviceTag":"x"}})")).empty());
    EXPECT_TRUE(turn.feed(reply("speech.startDetected", R"({"Offset":100})")).empty());
    const auto partial = onlyEvent(turn, reply("speech.hypothesis", R"({"Text":"你","Offset":0,"Duration":9000000})"));
    EXPECT_EQ(partial.kind, Kind::Partial);
    EXPECT_EQ(partial.result.text, "你");
    EXPECT_EQ(turn.resumeAt(), 0U);
    const auto final = onlyEvent(turn, reply("speech.phrase", phrase("你好。", 3200, 9600).dump()));
    EXPECT_EQ(final.kind, Kind::Final);
    EXPECT_EQ(final.result.text, "你好。");
    EXPECT_TRUE(final.result.translations.isEmpty());
    EXPECT_EQ(turn.resumeAt(), 9600U);
    EXPECT_TRUE(turn.feed(reply("speech.endDetected", R"({"Offset":100})")).empty());
    EXPECT_FALSE(turn.hasEnded());
    EXPECT_EQ(onlyEvent(turn, reply("turn.end", "")).kind, Kind::TurnEnded);
    EXPECT_TRUE(turn.hasEnded());
    EXPECT_TRUE(turn.feed(reply("speech.phrase", phrase("late", 9600, 12800).dump())).empty());
}

TEST(SpeechTurnTest, RecognitionStatusDecides) {
    for (const char* status : {"NoMatch", "InitialSilenceTimeout", "BabbleTimeout"}) {
        SpeechTurn turn = turnWithAudio(plain);
        const auto event = onlyEvent(turn, reply("speech.phrase", phrase("", 0, 6400, status).dump()));
        EXPECT_EQ(event.kind, Kind::Final) << status;
        EXPECT_EQ(event.result.text, std::nullopt) << status;
        EXPECT_EQ(turn.resumeAt(), 6400U) << status;
    }
    for (const char* status : {"Error", "TooManyRequests", "BadRequest", "Forbidden"}) {
        for (const SpeechTask& task : {plain, translating}) {
            SpeechTurn turn = turnWithAudio(task);
            const auto event = onlyEvent(turn, reply("speech.phrase", phrase("", 0, 6400, status).dump()));
            EXPECT_EQ(event.kind, Kind::Canceled) << status;
            EXPECT_THAT(event.details.toStdString(), ::testing::HasSubstr(status));
            EXPECT_THAT(event.details.toStdString(), ::testing::HasSubstr("check"));
            EXPECT_EQ(turn.resumeAt(), 0U) << status;
        }
    }
    SpeechTurn turn = turnWithAudio(plain);
    EXPECT_TRUE(turn.feed(reply("speech.phrase", phrase("", 0, 6400, "EndOfDictation").dump())).empty());
}

TEST(SpeechTurnTest, TranslatedResultsInTheNewerForm) {
    SpeechTurn turn = turnWithAudio(translating);
    const json heard = {{"Text", "你"}, {"Offset", 0}, {"Duration", 1000}};
    const auto partial =
        onlyEvent(turn, reply("translation.response", json{{"SpeechHypothesis", heard},
                                                           {"TranslationStatus", "Success"},
                                                           {"Translations", translations({{"en", "you"}})}}
                                                          .dump()));
    EXPECT_EQ(partial.kind, Kind::Partial);
    EXPECT_EQ(partial.result.text, "你");
    EXPECT_EQ(partial.result.translations, (QMap<QString, QString>{{"en", "you"}}));

    const auto final =
        onlyEvent(turn, reply("translation.response",
                              json{{"SpeechPhrase", phrase("你好。", 0, 6400)},
                                   {"SpeechHypothesis", heard},
                                   {"TranslationStatus", "Success"},
                                   {"Translations", translations({{"en", "Hello."}, {"zh-Hans", "您好"}})}}
                                  .dump()));
    EXPECT_EQ(final.kind, Kind::Final);
    EXPECT_EQ(final.result.text, "你好。");
    EXPECT_EQ(final.result.translations, (QMap<QString, QString>{{"en", "Hello."}, {"zh-Hans", "您好"}}));
    EXPECT_EQ(turn.resumeAt(), 6400U);
}

TEST(SpeechTurnTest, TranslatedResultsInTheOlderForm) {
    SpeechTurn turn = turnWithAudio(translating);
    json body = {
        {"Text", "你好"},
        {"Offset", 0},
        {"Duration", ticksOf(6400)},
        {"Translation", {{"TranslationStatus", "Success"}, {"Translations", translations({{"en", "Hello"}}, "Text")}}}};
    EXPECT_EQ(onlyEvent(turn, reply("translation.hypothesis", body.dump())).kind, Kind::Partial);
    EXPECT_EQ(turn.resumeAt(), 0U);
    const auto final = onlyEvent(turn, reply("translation.phrase", body.dump()));
    EXPECT_EQ(final.kind, Kind::Final);
    EXPECT_EQ(final.result.text, "你好");
    EXPECT_EQ(final.result.translations.value("en"), "Hello");
    EXPECT_EQ(turn.resumeAt(), 6400U);
    body["RecognitionStatus"] = "Forbidden";
    EXPECT_EQ(onlyEvent(turn, reply("translation.phrase", body.dump())).kind, Kind::Canceled);
}

TEST(SpeechTurnTest, AFailedTranslationKeepsTheSourceText) {
    SpeechTurn turn = turnWithAudio(translating);
    const auto event = onlyEvent(turn, reply("translation.response", json{{"SpeechPhrase", phrase("你好。", 0, 6400)},
                                                                          {"TranslationStatus", "Error"},
                                                                          {"FailureReason", "none"},
                                                                          {"Translations", translations({{"en", ""}})}}
                                                                         .dump()));
    EXPECT_EQ(event.kind, Kind::Final);
    EXPECT_EQ(event.result.text, "你好。");
    EXPECT_TRUE(event.result.translations.isEmpty());
}

TEST(SpeechTurnTest, TranslationsAreKeyedByTheTargetAsItWasAsked) {
    struct Case {
        const char* asked;
        std::vector<std::pair<const char*, const char*>> offered;
        std::optional<QString> expected;
    };
    const std::vector<Case> cases = {
        {"en", {{"en-US", "primary"}}, "primary"},
        {"en", {{"en-US", "primary"}, {"en", "exact"}}, "exact"},
        {"zh-Hans", {{"zh-Hant", "primary"}, {"zh-Hans", "exact"}}, "exact"},
        {"zh-Hans", {{"zh-CN", "primary"}}, "primary"},
        {"EN", {{"en", "primary"}}, "primary"},
        {"en", {{"es", "other"}, {"eng", "other"}}, std::nullopt},
        {"en", {}, std::nullopt},
    };
    for (const Case& c : cases) {
        SpeechTurn turn = turnWithAudio({"es-ES", {c.asked}});
        const auto event = onlyEvent(
            turn, reply("translation.response",
                        json{{"SpeechHypothesis", {{"Text", "a"}}}, {"Translations", translations(c.offered)}}.dump()));
        QMap<QString, QString> expected;
        if (c.expected)
            expected.insert(c.asked, *c.expected);
        EXPECT_EQ(event.result.translations, expected) << c.asked;
    }
}

TEST(SpeechTurnTest, PlainResultsBesideTranslatedOnesSayNothingTwice) {
    SpeechTurn turn = turnWithAudio(translating);
    EXPECT_TRUE(turn.feed(reply("speech.hypothesis", R"({"Text":"a"})")).empty());
    EXPECT_TRUE(turn.feed(reply("speech.phrase", phrase("a", 0, 6400).dump())).empty());
    EXPECT_EQ(turn.resumeAt(), 0U) << "its translation may still be lost";
}

TEST(SpeechTurnTest, DropsMessagesOfOtherTurns) {
    SpeechTurn turn = turnWithAudio(plain);
    EXPECT_TRUE(turn.feed(reply("speech.phrase", phrase("a", 0, 6400).dump(), "turn0")).empty());
    EXPECT_TRUE(turn.feed(reply("turn.end", "{}", "turn0")).empty());
    EXPECT_TRUE(turn.feed(reply("turn.end", "{}", "")).empty());
    EXPECT_FALSE(turn.hasEnded());
    EXPECT_EQ(turn.resumeAt(), 0U);
}

TEST(SpeechTurnTest, SurvivesBodiesThatAreNotWhatThePathPromises) {
    SpeechTurn turn = turnWithAudio(translating);
    for (const char* path :
         {"speech.phrase", "translation.response", "translation.phrase", "translation.hypothesis", "x"}) {
        for (const char* body :
             {"", "{", "[]", "3", "null", R"({"SpeechPhrase":3})", "\xFF\xFE", R"({"Translations":[]})"})
            turn.feed(reply(path, body));
    }
    const auto event = onlyEvent(turn, reply("translation.response", R"({"SpeechPhrase":{"DisplayText":7,"Offset":"0",
        "Duration":-5,"RecognitionStatus":{}},"TranslationStatus":[],"Translations":[3,{"Language":"en"},{"DisplayText":"x"},
        {"Language":1,"DisplayText":2}]})"));
    EXPECT_EQ(event.kind, Kind::Final);
    EXPECT_EQ(event.result.text, std::nullopt);
    EXPECT_TRUE(event.result.translations.isEmpty());
    EXPECT_EQ(turn.resumeAt(), 0U);
    EXPECT_FALSE(turn.hasEnded());
}

TEST(SpeechTurnTest, OffsetsCountFromTheTurnAndNeverBeyondWhatWasSent) {
    SpeechTurn turn = turnWithAudio(plain, 100'000, 32'000);
    EXPECT_EQ(turn.resumeAt(), 100'000U);
    turn.feed(reply("speech.phrase", phrase("a", 3200, 9600).dump()));
    EXPECT_EQ(turn.resumeAt(), 109'600U);
    turn.feed(reply("speech.phrase", phrase("b", 0, 3200).dump()));
    EXPECT_EQ(turn.resumeAt(), 109'600U) << "it never goes back";
    turn.feed(
        reply("speech.phrase", R"({"RecognitionStatus":"Success","DisplayText":"c","Offset":3750624,"Duration":0})"));
    EXPECT_EQ(turn.resumeAt(), 112'000U) << "whole samples, rounded down";
    turn.feed(reply("speech.phrase", phrase("d", 0, 90'000).dump()));
    EXPECT_EQ(turn.resumeAt(), 132'000U);
    turn.feed(
        reply("speech.phrase", R"({"RecognitionStatus":"Success","DisplayText":"e","Offset":1e300,"Duration":1})"));
    EXPECT_EQ(turn.resumeAt(), 132'000U);
}

/// A recognizer of the simplest kind: it makes one sentence of each 6400 bytes and says where it was.
std::vector<wire::SpeechMessage> serviceOn(std::uint64_t firstByte, std::uint64_t end, const std::string& requestId) {
    std::vector<wire::SpeechMessage> messages = {reply("turn.start", "{}", requestId)};
    for (std::uint64_t at = firstByte; at + 6400 <= end; at += 6400) {
        const std::string text = std::to_string(at) + "-" + std::to_string(at + 6400);
        messages.push_back(reply("speech.hypothesis", json{{"Text", text}}.dump(), requestId));
        messages.push_back(
            reply("speech.phrase", phrase(text.c_str(), at - firstByte, at - firstByte + 6400).dump(), requestId));
    }
    messages.push_back(reply("turn.end", "", requestId));
    return messages;
}

TEST(SpeechTurnTest, CutBehindAnyMessageTheNextTurnGoesOnWithoutLossOrRepetition) {
    constexpr std::uint64_t all = 64'000;
    const std::size_t count = serviceOn(0, all, "turn1").size();
    for (std::size_t cut = 0; cut <= count; ++cut) {
        QStringList finals;
        const auto keepFinals = [&finals](const std::vector<SpeechEvent>& events) {
            for (const SpeechEvent& event : events) {
                if (event.kind == Kind::Final)
                    finals.append(*event.result.text);
            }
        };
        SpeechTurn first = turnWithAudio(plain, 0, all);
        const auto before = serviceOn(0, all, "turn1");
        for (std::size_t i = 0; i < cut; ++i)
            keepFinals(first.feed(before[i]));
        SpeechTurn second(plain, "turn2", first.resumeAt());
        for (std::uint64_t sent = first.resumeAt(); sent < all; sent += 3200)
            second.audio(std::string(3200, 'a'));
        for (std::size_t i = cut; i < before.size(); ++i)
            keepFinals(second.feed(before[i])); // what the old turn still had under way
        for (const auto& message : serviceOn(first.resumeAt(), all, "turn2"))
            keepFinals(second.feed(message));
        QStringList expected;
        for (std::uint64_t at = 0; at < all; at += 6400)
            expected.append(QString("%1-%2").arg(at).arg(at + 6400));
        EXPECT_EQ(finals, expected) << "cut behind message " << cut;
        EXPECT_EQ(second.resumeAt(), all);
    }
}

} // namespace
} // namespace parlowen
