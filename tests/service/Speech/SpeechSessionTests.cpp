#include "ScriptedEngines.h"
#include "Speech/SpeechSession.h"
#include "support/Testing.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <nlohmann/json.hpp>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace parlowen::wire;
using Kind = RecognitionEvent::Kind;
using nlohmann::json;

namespace {

constexpr std::string_view plainContext =
    R"({"phraseDetection":{"mode":"Conversation","language":"en-US"},"phraseOutput":{}})";
constexpr std::string_view translationContext = R"({
    "phraseDetection": {"mode": "CONVERSATION", "language": "en-US", "onSuccess": {"action": "Translate"},
                        "onInterim": {"action": "translate"}},
    "translation": {"targetLanguages": ["es"], "output": {"includePassThroughResults": true,
                    "interimResults": {"mode": "Always"}},
                    "onSuccess": {"action": "None"}, "onPassthrough": {"action": "None"}},
    "phraseOutput": {"interimResults": {"resultType": "None"}, "phraseResults": {"resultType": "None"}}})";

/// A session over scripted engines. Posted work and translations run in settle(), in order.
struct SpeechSessionTest : testing::Test {
    void SetUp() override {
        engines.add(engine);
        engines.add(translator);
        connect("/stt/speech/universal/v2", {{"language", "en-US"}});
    }
    void connect(std::string_view path, std::map<std::string, std::string> query) {
        session = std::make_unique<SpeechSession>(
            engines, settingsOfRequest(path, [&query](std::string_view name) { return query[std::string(name)]; }),
            SpeechSession::Hooks{[this](const std::string& frame) { sent.push_back(*decodeText(frame)); },
                                 [this](std::function<void()> call) { boost::asio::post(io, std::move(call)); },
                                 [this] { ++resumed; }, io.get_executor(), [this] { ++refused; }});
    }
    std::optional<SpeechSession::Close> context(std::string_view body, std::string_view id = "turn1") {
        return session->onText(
            encode({{{"Path", "speech.context"}, {"X-RequestId", std::string(id)}}, std::string(body), false}));
    }
    std::optional<SpeechSession::Close> audio(std::string bytes, std::string_view id = "turn1") {
        return session->onBinary(
            encode({{{"path", "audio"}, {"x-requestid", std::string(id)}}, std::move(bytes), true}));
    }
    void heard(Kind kind, std::string text = {}, Ticks offset = 0, Ticks duration = 0) {
        engine->streams.back()->sink({kind, std::move(text), offset, duration, 0.5});
    }
    void settle() {
        io.restart();
        io.run();
    }
    /// The paths of what was sent since the last call.
    std::vector<std::string> paths() {
        settle();
        std::vector<std::string> result;
        for (; reported < sent.size(); ++reported)
            result.emplace_back(sent[reported].path());
        return result;
    }
    json body(std::size_t fromLast = 0) const { return json::parse(sent.at(sent.size() - 1 - fromLast).body); }

    boost::asio::io_context io;
    std::shared_ptr<ScriptedEngine> engine = std::make_shared<ScriptedEngine>();
    std::shared_ptr<ScriptedTranslator> translator = std::make_shared<ScriptedTranslator>();
    EngineSet engines;
    std::vector<SpeechMessage> sent;
    std::size_t reported = 0;
    int resumed = 0;
    int refused = 0;
    std::unique_ptr<SpeechSession> session;
};

} // namespace

TEST_F(SpeechSessionTest, APlainTurnFromContextToEnd) {
    EXPECT_FALSE(session->onText("Path: speech.config\r\n\r\n{\"context\":{}}"));
    EXPECT_FALSE(context(plainContext));
    EXPECT_FALSE(audio(waveHeader()));
    EXPECT_EQ(session->heard(), 0U) << "no sound yet";
    EXPECT_FALSE(audio(std::string("\x01\x00\x02", 3)));
    EXPECT_FALSE(audio(std::string("\x00\x03\x00", 3)));
    EXPECT_EQ(session->heard(), 3U);
    EXPECT_THAT(engine->streams.back()->samples, ElementsAre(1, 2, 3));

    heard(Kind::SpeechStart, {}, 100);
    heard(Kind::Partial, "why do you", 100, 200);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "speech.startDetected", "speech.hypothesis"));
    EXPECT_EQ(body(), json({{"Text", "why do you"}, {"Offset", 100}, {"Duration", 200}}));
    heard(Kind::Final, "Why do you ask?", 100, 300);
    heard(Kind::SpeechStart, {}, 700);
    heard(Kind::Final, "", 700, 100);
    EXPECT_THAT(paths(), ElementsAre("speech.phrase", "speech.phrase"));
    EXPECT_EQ(body(1),
              R"({"RecognitionStatus":"Success","DisplayText":"Why do you ask?","Offset":100,"Duration":300})"_json);
    EXPECT_EQ(body().at("RecognitionStatus"), "NoMatch");

    EXPECT_FALSE(audio(""));
    EXPECT_TRUE(engine->streams.back()->finished);
    heard(Kind::SpeechEnd, {}, 800);
    EXPECT_THAT(paths(), ElementsAre("speech.endDetected", "turn.end"));
    EXPECT_EQ(body(1), json({{"Offset", 800}}));
    EXPECT_FALSE(engine->streams.back()->open);
    for (const auto& message : sent)
        EXPECT_EQ(message.requestId(), "turn1");
}

TEST_F(SpeechSessionTest, ASlowTranslatorHoldsNoFinalUpWhereItMayComeAgain) {
    translator->slow = true;
    context(std::string(translationContext)
                .insert(translationContext.find("\"interimResults\""), "\"lateResults\": true, "));
    heard(Kind::Partial, "good", 5, 6);
    heard(Kind::Final, "Good.", 5, 9);
    heard(Kind::Final, "untranslatable", 20, 9);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "translation.response", "translation.response",
                                     "translation.response", "translation.response"));
    const auto saidLast = [this](std::size_t fromLast) {
        return body(fromLast).at("Translations").front().at("DisplayText");
    };
    EXPECT_EQ(saidLast(3), "") << "of a text that grows";
    EXPECT_EQ(saidLast(2), "");
    EXPECT_EQ(body(1).at("SpeechPhrase").at("DisplayText"), "untranslatable") << "not behind the translation";
    EXPECT_EQ(saidLast(0), "es:Good.");
    EXPECT_THAT(translator->asked, ElementsAre("Good.", "untranslatable"));
    context(translationContext, "turn2");
    heard(Kind::Partial, "well", 5, 6);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "translation.response"));
    EXPECT_EQ(translator->asked.size(), 2U) << "finals alone";
    heard(Kind::Final, "Well.", 5, 9);
    EXPECT_THAT(paths(), ElementsAre("translation.response"));
    EXPECT_EQ(saidLast(0), "es:Well.") << "other clients get it whole";
}

TEST_F(SpeechSessionTest, FewFinalsWaitForASlowTranslatorAndWhatItDoesEndsWithTheSession) {
    translator->slow = translator->stalls = true;
    context(translationContext);
    for (const char* text : {"a", "b", "c", "d", "e", "f"}) {
        heard(Kind::Final, text);
        settle();
    }
    EXPECT_THAT(translator->asked, ElementsAre("a"));
    translator->stalls = false;
    translator->held("es:a");
    EXPECT_EQ(paths().size(), 7U) << "each comes, the oldest that waited without its translation";
    EXPECT_THAT(translator->asked, ElementsAre("a", "c", "d", "e", "f"));
    translator->stalls = true;
    heard(Kind::Final, "g");
    settle();
    session.reset();
    EXPECT_EQ(translator->dropped, 1);
}

TEST_F(SpeechSessionTest, TranslationWithoutThePlainMessages) {
    context(translationContext);
    heard(Kind::Partial, "good", 5, 6);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "translation.response"));
    EXPECT_EQ(body(), R"({"SpeechHypothesis":{"Text":"good","Offset":5,"Duration":6},"TranslationStatus":"Success",
        "Translations":[{"Language":"es","DisplayText":"es:good"}]})"_json);
    heard(Kind::Final, "Good.", 5, 9);
    heard(Kind::Final, "An untranslatable one.", 20, 1);
    heard(Kind::Final, "", 30, 1);
    heard(Kind::SpeechEnd, {}, 31);
    EXPECT_THAT(paths(), ElementsAre("translation.response", "translation.response", "translation.response",
                                     "speech.endDetected", "turn.end"));
    EXPECT_EQ(body(4).at("SpeechPhrase"),
              R"({"RecognitionStatus":"Success","DisplayText":"Good.","Offset":5,"Duration":9})"_json);
    EXPECT_EQ(body(3).at("TranslationStatus"), "Error");
    EXPECT_EQ(body(2).at("SpeechPhrase").at("RecognitionStatus"), "NoMatch");
    context(std::string(translationContext).replace(translationContext.find("Always"), 6, "None"), "turn2");
    heard(Kind::Partial, "good", 5, 6);
    EXPECT_THAT(paths(), ElementsAre("turn.start")) << "finals alone are wanted";
}

TEST_F(SpeechSessionTest, TheOlderTranslationPathNestsItsTexts) {
    connect("/speech/translation/cognitiveservices/v1", {{"from", "en-US"}, {"to", "es,,fr-FR"}});
    context(R"({})");
    heard(Kind::Partial, "good", 1, 2);
    settle();
    heard(Kind::Final, "Good.", 1, 3);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "translation.hypothesis", "translation.phrase"));
    EXPECT_FALSE(body(1).contains("RecognitionStatus"));
    EXPECT_EQ(body(), R"({"Text":"Good.","Offset":1,"Duration":3,"RecognitionStatus":"Success",
        "Translation":{"TranslationStatus":"Success","Translations":[{"Language":"es","Text":"es:Good."},
        {"Language":"fr-FR","Text":"fr:Good."}]}})"_json);
}

TEST_F(SpeechSessionTest, PartialsThatWaitForTranslationDoNotPileUp) {
    context(translationContext);
    for (const char* text : {"a", "a b", "a b c", "a b c d"})
        heard(Kind::Partial, text);
    heard(Kind::Final, "A b c d.");
    heard(Kind::Partial, "e");
    heard(Kind::Final, "E f.");
    paths();
    EXPECT_THAT(translator->asked, ElementsAre("A b c d.", "E f."));
}

TEST_F(SpeechSessionTest, NewTurnsOnTheSameConnection) {
    context(plainContext);
    audio(waveHeader() + "ab");
    const auto first = engine->streams.back();
    context(plainContext, "turn2"); // while the first runs: it is given up
    EXPECT_FALSE(first->open);
    first->sink({Kind::Final, "Too late.", 0, 0, 0});
    audio(waveHeader() + "cdef", "turn2");
    audio("", "turn2");
    heard(Kind::SpeechEnd);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "turn.start", "speech.endDetected", "turn.end"));
    audio("xx", "turn2"); // left over
    EXPECT_EQ(engine->streams.size(), 2U);
    audio(waveHeader() + "gh", "turn3");
    EXPECT_EQ(engine->streams.size(), 3U);
    heard(Kind::Final, "Again.", 7, 8);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "speech.phrase"));
    EXPECT_EQ(sent.back().requestId(), "turn3");
    EXPECT_EQ(body().at("Offset"), 7);
}

TEST_F(SpeechSessionTest, WhatIsNotOfferedEndsTheConnectionAndNamesWhatIs) {
    const auto refusal = [this](const std::string& language, const std::string& target) {
        auto wanted = json::parse(target.empty() ? plainContext : translationContext);
        wanted["phraseDetection"]["language"] = language;
        if (!target.empty())
            wanted["translation"]["targetLanguages"] = {target};
        const auto close = context(wanted.dump());
        EXPECT_TRUE(close);
        EXPECT_EQ(close->code, 1007);
        EXPECT_LE(close->reason.size(), 123U);
        return close->reason;
    };
    EXPECT_EQ(refusal("zh-CN", ""), "locale zh-CN is not offered; offered: en-US, en-GB");
    EXPECT_EQ(refusal("en-US", "de"), "translation en-US to de is not offered; offered: en to es, en to fr");
    EXPECT_THAT(refusal(std::string(3'000, 'x'), ""), HasSubstr("offered: en-US"));
    EXPECT_THAT(refusal("\xe4\xb8\xad", ""), HasSubstr("locale ??? is"));
    EXPECT_THAT(sent, IsEmpty());
}

TEST_F(SpeechSessionTest, AnEngineWithoutRoomOrOutOfOrderCancels) {
    engine->refuses = true;
    context(plainContext);
    EXPECT_THAT(paths(), ElementsAre("turn.start", "speech.phrase", "turn.end"));
    EXPECT_EQ(body(1).at("RecognitionStatus"), "TooManyRequests");
    EXPECT_EQ(refused, 1);
    engine->refuses = false;
    context(translationContext, "turn2");
    heard(Kind::Failed, "the model is gone");
    EXPECT_THAT(paths(), ElementsAre("turn.start", "translation.response", "turn.end"));
    EXPECT_EQ(body(1).at("SpeechPhrase").at("RecognitionStatus"), "Error");
    EXPECT_FALSE(audio("ab", "turn2"));
}

TEST_F(SpeechSessionTest, AFullEngineHoldsTheReaderBackUntilItHasRoom) {
    context(plainContext);
    audio(waveHeader() + "ab");
    engine->takesMore = false;
    audio("cd");
    EXPECT_TRUE(session->isFull());
    heard(Kind::Drained);
    settle();
    EXPECT_FALSE(session->isFull());
    audio("ef");
    context(plainContext, "turn2"); // its engine has room
    EXPECT_FALSE(session->isFull());
    EXPECT_EQ(resumed, 2);
    audio(waveHeader() + "gh", "turn2");
    EXPECT_TRUE(session->isFull());
    heard(Kind::SpeechEnd);
    settle();
    EXPECT_EQ(resumed, 3) << "another turn may be on its way";
}
