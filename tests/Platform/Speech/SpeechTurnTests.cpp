#include <Speech/SpeechTurn.h>
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace parlowen {

namespace {

using nlohmann::json;
using Kind = SpeechEvent::Kind;
using Translations = QMap<QString, QString>;

const SpeechTask plain{"zh-CN", {}};
const SpeechTask translating{"zh-CN", {"en", "zh-Hans"}};

wire::SpeechMessage reply(const char* path, std::string body, const char* requestId = "turn1") {
    return {{{"X-RequestId", requestId}, {"Path", path}}, std::move(body), false};
}

/// A final result with the time from the turn's start to its end as bytes of audio.
std::string phrase(std::uint64_t endByte, const char* status = "Success") {
    return json{{"RecognitionStatus", status}, {"DisplayText", "好。"}, {"Offset", 0}, {"Duration", endByte / 2 * 625}}
        .dump();
}

SpeechTurn turnWithAudio(const SpeechTask& task, std::uint64_t firstByte = 0) {
    SpeechTurn turn(task, "turn1", firstByte);
    for (int piece = 0; piece < 10; ++piece)
        turn.audio(std::string(3200, 'a'));
    return turn;
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
            "output":{"includePassThroughResults":true,"interimResults":{"mode":"Always"}},
            "onSuccess":{"action":"None"},"onPassthrough":{"action":"None"}}})"));
}

TEST(SpeechTurnTest, ResultsOfEveryForm) {
    struct Case {
        const SpeechTask& task;
        const char* path;
        const char* body;
        std::optional<Kind> kind;
        std::optional<QString> text;
        Translations translations;
        std::uint64_t resumeAt;
    };
    // 2,000,000 units of 100 ns are 6400 bytes.
    const std::vector<Case> cases = {
        {plain, "turn.start", R"({"context":{"serviceTag":"x"}})", {}, {}, {}, 0},
        {plain, "speech.startDetected", R"({"Offset":100})", {}, {}, {}, 0},
        {plain, "turn.end", "", Kind::TurnEnded, {}, {}, 0},
        {plain, "speech.hypothesis", R"({"Text":"你","Offset":0,"Duration":9000000})", Kind::Partial, "你", {}, 0},
        {plain,
         "speech.phrase",
         R"({"DisplayText":"你好。","Offset":1000000,"Duration":1000000})",
         Kind::Final,
         "你好。",
         {},
         6400},
        {translating,
         "translation.response",
         R"({"SpeechHypothesis":{"Text":"你","Offset":0,"Duration":1000},"TranslationStatus":"Success",
             "Translations":[{"Language":"en","DisplayText":"you"}]})",
         Kind::Partial,
         "你",
         {{"en", "you"}},
         0},
        {translating,
         "translation.response",
         R"({"SpeechPhrase":{"DisplayText":"你好。","Offset":0,"Duration":2000000},"SpeechHypothesis":{"Text":"你"},
             "TranslationStatus":"Success","Translations":[{"Language":"en","DisplayText":"Hello."},
             {"Language":"zh-Hans","DisplayText":"您好"}]})",
         Kind::Final,
         "你好。",
         {{"en", "Hello."}, {"zh-Hans", "您好"}},
         6400},
        // A failed translation keeps the source text.
        {translating,
         "translation.response",
         R"({"SpeechPhrase":{"DisplayText":"你好。","Offset":0,"Duration":2000000},"TranslationStatus":"Error",
             "FailureReason":"none","Translations":[{"Language":"en","DisplayText":""}]})",
         Kind::Final,
         "你好。",
         {},
         6400},
        // The older form.
        {translating,
         "translation.hypothesis",
         R"({"Text":"你","Offset":0,"Duration":2000000,"Translation":{"Translations":[]}})",
         Kind::Partial,
         "你",
         {},
         0},
        {translating,
         "translation.phrase",
         R"({"Text":"你好","Offset":0,"Duration":2000000,"Translation":{"TranslationStatus":"Success",
             "Translations":[{"Language":"en","Text":"Hello"}]}})",
         Kind::Final,
         "你好",
         {{"en", "Hello"}},
         6400},
        // Beside translated results plain ones would say everything twice, and their translation may still be lost.
        {translating, "speech.hypothesis", R"({"Text":"a"})", {}, {}, {}, 0},
        {translating, "speech.phrase", R"({"DisplayText":"a","Offset":0,"Duration":2000000})", {}, {}, {}, 0},
        // Members of other types than they should have.
        {translating,
         "translation.response",
         R"({"SpeechPhrase":{"DisplayText":7,"Offset":"0","Duration":-5,"RecognitionStatus":{}},"TranslationStatus":[],
             "Translations":[3,{"Language":"en"},{"DisplayText":"x"},{"Language":1,"DisplayText":2}]})",
         Kind::Final,
         {},
         {},
         0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.path) + c.body);
        SpeechTurn turn = turnWithAudio(c.task);
        const std::vector<SpeechEvent> events = turn.feed(reply(c.path, c.body));
        ASSERT_EQ(events.size(), c.kind ? 1U : 0U);
        EXPECT_EQ(turn.resumeAt(), c.resumeAt);
        EXPECT_EQ(turn.hasEnded(), c.kind == Kind::TurnEnded);
        if (!c.kind)
            continue;
        EXPECT_EQ(events[0].kind, *c.kind);
        EXPECT_EQ(events[0].result.text, c.text);
        EXPECT_EQ(events[0].result.translations, c.translations);
    }
}

TEST(SpeechTurnTest, RecognitionStatusDecides) {
    for (const char* status : {"NoMatch", "InitialSilenceTimeout", "BabbleTimeout"}) {
        SpeechTurn turn = turnWithAudio(plain);
        const auto events = turn.feed(reply("speech.phrase", phrase(6400, status)));
        ASSERT_EQ(events.size(), 1U) << status;
        EXPECT_EQ(events[0].kind, Kind::Final) << status;
        EXPECT_EQ(events[0].result.text, std::nullopt) << status;
        EXPECT_EQ(turn.resumeAt(), 6400U) << status;
    }
    for (const char* status : {"Error", "TooManyRequests", "BadRequest", "Forbidden"}) {
        for (const SpeechTask& task : {plain, translating}) {
            SpeechTurn turn = turnWithAudio(task);
            const auto events = turn.feed(reply("speech.phrase", phrase(6400, status)));
            ASSERT_EQ(events.size(), 1U) << status;
            EXPECT_EQ(events[0].kind, Kind::Canceled) << status;
            EXPECT_THAT(events[0].details.toStdString(), ::testing::ContainsRegex(std::string(status) + ".*check"));
            EXPECT_EQ(turn.resumeAt(), 0U) << status;
        }
    }
    EXPECT_TRUE(turnWithAudio(plain).feed(reply("speech.phrase", phrase(6400, "EndOfDictation"))).empty());
}

TEST(SpeechTurnTest, TranslationsAreKeyedByTheTargetAsItWasAsked) {
    struct Case {
        const char* asked;
        const char* offered;
        std::optional<QString> expected;
    };
    const std::vector<Case> cases = {
        {"en", R"([{"Language":"en-US","DisplayText":"primary"}])", "primary"},
        {"en", R"([{"Language":"en-US","DisplayText":"primary"},{"Language":"en","DisplayText":"exact"}])", "exact"},
        {"zh-Hans", R"([{"Language":"zh-CN","DisplayText":"primary"}])", "primary"},
        {"EN", R"([{"Language":"en","DisplayText":"primary"}])", "primary"},
        {"en", R"([{"Language":"es","DisplayText":"other"},{"Language":"eng","DisplayText":"other"}])", {}},
        {"en", "[]", {}},
    };
    for (const Case& c : cases) {
        SpeechTurn turn = turnWithAudio({"es-ES", {c.asked}});
        const auto events = turn.feed(
            reply("translation.response", std::string(R"({"SpeechHypothesis":{},"Translations":)") + c.offered + "}"));
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].result.translations, c.expected ? Translations({{c.asked, *c.expected}}) : Translations())
            << c.asked << c.offered;
    }
}

TEST(SpeechTurnTest, DropsMessagesOfOtherTurnsAndAfterItsEnd) {
    SpeechTurn turn = turnWithAudio(plain);
    for (const char* other : {"turn0", ""}) {
        EXPECT_TRUE(turn.feed(reply("speech.phrase", phrase(6400), other)).empty());
        EXPECT_TRUE(turn.feed(reply("turn.end", "{}", other)).empty());
    }
    EXPECT_FALSE(turn.hasEnded());
    EXPECT_EQ(turn.feed(reply("turn.end", "")).size(), 1U);
    EXPECT_TRUE(turn.feed(reply("speech.phrase", phrase(6400))).empty());
    EXPECT_EQ(turn.resumeAt(), 0U);
}

TEST(SpeechTurnTest, SurvivesBodiesThatAreNotWhatThePathPromises) {
    SpeechTurn turn = turnWithAudio(translating);
    for (const char* path : {"speech.phrase", "translation.response", "translation.phrase", "x"}) {
        for (const char* body :
             {"", "{", "[]", "3", "null", R"({"SpeechPhrase":3})", "\xFF\xFE", R"({"Translations":[]})"})
            turn.feed(reply(path, body));
    }
    EXPECT_FALSE(turn.hasEnded());
    EXPECT_EQ(turn.resumeAt(), 0U);
}

TEST(SpeechTurnTest, OffsetsCountFromTheTurnAndNeverBeyondWhatWasSent) {
    SpeechTurn turn = turnWithAudio(plain, 100'000); // and 32,000 bytes of its own
    EXPECT_EQ(turn.resumeAt(), 100'000U);
    turn.feed(reply("speech.phrase", phrase(9600)));
    EXPECT_EQ(turn.resumeAt(), 109'600U);
    turn.feed(reply("speech.phrase", phrase(3200)));
    EXPECT_EQ(turn.resumeAt(), 109'600U) << "it never goes back";
    turn.feed(reply("speech.phrase", R"({"DisplayText":"c","Offset":3750624,"Duration":0})"));
    EXPECT_EQ(turn.resumeAt(), 112'000U) << "whole samples, rounded down";
    turn.feed(reply("speech.phrase", phrase(90'000)));
    EXPECT_EQ(turn.resumeAt(), 132'000U);
    turn.feed(reply("speech.phrase", R"({"DisplayText":"e","Offset":1e300,"Duration":1})"));
    EXPECT_EQ(turn.resumeAt(), 132'000U);
}

} // namespace
} // namespace parlowen
