#include <gmock/gmock.h>

#include <QRegularExpression>
#include <QSslConfiguration>

#include <thread>

#include "RecognizerHarness.h"
#include "support/ScriptedSpeechServer.h"
#include "support/TlsFiles.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr const char* helloPhrase =
    R"({"RecognitionStatus":"Success","DisplayText":"Hello.","Offset":0,"Duration":1000000})";

class SPXRecognizerTest : public ::testing::Test {
protected:
    /// Waits until a turn of the session has that much audio.
    bool hasAudio(std::size_t session, std::size_t turn, std::size_t bytes) const {
        return waitFor([&] {
            return server.sessions.size() > session && server.sessions[session]->turns.size() > turn &&
                   server.sessions[session]->turns[turn].audio.size() >= bytes;
        });
    }

    /// Starts with 0.1 s of audio; its session once the server has all of that, null when it does not come.
    SpeechSessionSeen* startSession() {
        recognition.start(3200);
        return hasAudio(0, 0, 3200) ? server.sessions[0].get() : nullptr;
    }

    bool waitForFinals(qsizetype count) const {
        return waitFor([&] { return recognition.heard.finals().size() == count; });
    }

    /// Waits for the end of recognition; its reason. Neither another one nor another connection may follow.
    std::string cancellation() {
        const Heard& heard = recognition.heard;
        EXPECT_TRUE(waitFor([&] { return !heard.cancellations().isEmpty(); }));
        const int connections = server.connections;
        recognition.stream->write(std::string(32'000, 'a'));
        EXPECT_TRUE(
            holdsFor([&] { return server.connections == connections && heard.cancellations().size() == 1; }, 30));
        return heard.cancellations().join('\n').toStdString();
    }

    ScriptedSpeechServer server;
    Recognition recognition{server.area()};
};

TEST_F(SPXRecognizerTest, OpensSendsAndEndsInOrder) {
    std::string audio;
    for (int i = 0; i < 5001; ++i)
        audio.push_back(static_cast<char>(i % 251));
    recognition.stream->write(audio);
    recognition.start();
    ASSERT_TRUE(hasAudio(0, 0, 3200));
    SpeechSessionSeen& session = *server.sessions[0];
    session.send("speech.phrase", R"({"DisplayText":"Hello.","Offset":0,"Duration":1000000})"); // 3200 bytes
    session.send("turn.end", "{}");
    ASSERT_TRUE(waitForFinals(1));
    EXPECT_TRUE(holdsFor([&] { return session.turns.size() == 1; }, 30)) << "too little is left for a message";
    recognition.stream->write(std::string(1400, 'c'));
    ASSERT_TRUE(hasAudio(0, 1, 3200));
    recognition.stream->close();
    ASSERT_TRUE(waitFor([&] { return session.turns[1].audioEnded; }));

    EXPECT_EQ(session.url().path() + '?' + session.url().query(),
              "/stt/speech/universal/v2?language=en-US&format=simple");
    EXPECT_EQ(session.header("Authorization"), "Bearer the-token");
    EXPECT_EQ(session.header("X-ConnectionId").size(), 32);
    std::vector<std::string> paths;
    for (const wire::SpeechMessage& message : session.messages) {
        paths.emplace_back(message.path());
        EXPECT_EQ(message.requestId(), session.turns[paths.size() < 5 ? 0 : 1].requestId);
        EXPECT_THAT(std::string(message.header("X-Timestamp")), ::testing::ContainsRegex("^20..-..-..T..:..:.*Z$"));
    }
    EXPECT_THAT(paths, ::testing::ElementsAre("speech.config", "speech.context", "audio", "audio", "speech.context",
                                              "audio", "audio", "audio", "audio"));
    EXPECT_EQ(session.turns[0].audio + session.turns[1].audio, audio + std::string(1400, 'c'));
    EXPECT_EQ(session.turns[1].waveHeader, wire::waveHeader());

    EXPECT_FALSE(session.isClosed());
    session.send("turn.end", "");
    ASSERT_TRUE(waitFor([&] { return session.isClosed(); })) << "nothing is left to do";
    EXPECT_TRUE(holdsFor([&] { return server.connections == 1; }, 30));
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
}

TEST_F(SPXRecognizerTest, WhatFollowsTheFirstFiveSecondsIsHeldBack) {
    recognition.start(320'000);
    ASSERT_TRUE(hasAudio(0, 0, 160'000));
    EXPECT_TRUE(holdsFor([&] { return server.sessions[0]->turns[0].audio.size() < 240'000; }, 100));
}

TEST_F(SPXRecognizerTest, ConnectsAgainAfterACloseThatMayPassAndElseCancelsOnceAndSaysWhy) {
    ASSERT_TRUE(startSession());
    server.sessions[0]->close(1012);
    ASSERT_TRUE(hasAudio(1, 0, 3200)) << recognition.heard.cancellations().join(' ').toStdString();
    EXPECT_EQ(server.sessions[1]->header("X-ConnectionId"), server.sessions[0]->header("X-ConnectionId"));
    EXPECT_EQ(server.sessions[1]->messages[0].path(), "speech.config");
    server.sessions[1]->close(4000, "offered are en-US");
    EXPECT_THAT(cancellation(), AllOf(HasSubstr("code 4000"), HasSubstr("offered are en-US")));
    EXPECT_EQ(server.connections, 2);
}

TEST_F(SPXRecognizerTest, NeverGivesUp) {
    server.hangUpOnNext(2);
    server.refuseNext(503, 2);
    server.leaveNextUnanswered();
    Recognition impatient(server.area(), 1s);
    impatient.start(6400);
    const auto newest = [this]() -> SpeechSessionSeen& { return *server.sessions.back(); };
    const auto isHeard = [&] {
        return waitFor([&] {
            return !server.sessions.empty() && !newest().isClosed() && !newest().turns.empty() &&
                   newest().turns[0].audio.size() >= 6400;
        });
    };
    ASSERT_TRUE(isHeard());
    for (const char* passing : {"TooManyRequests", "Error"}) {
        newest().send("speech.phrase", std::string(R"({"RecognitionStatus":")") + passing + "\"}");
        ASSERT_TRUE(waitFor([&] { return newest().isClosed(); })) << "what may pass ends the connection alone";
        ASSERT_TRUE(isHeard());
    }
    newest().send("speech.phrase", helloPhrase); // 3200 bytes
    ASSERT_TRUE(waitFor([&] { return !impatient.heard.finals().isEmpty(); }));
    server.refuseNext(404); // by somebody else, since there was a service
    newest().drop();
    impatient.stream->write(std::string(3200, 'b'));
    ASSERT_TRUE(isHeard());
    EXPECT_TRUE(impatient.heard.cancellations().isEmpty());
    const QStringList told = impatient.heard.connections();
    for (const char* what : {"503", "hung up|closed", "does not answer", "TooManyRequests", "Error", "reached"})
        EXPECT_FALSE(told.filter(QRegularExpression(what)).isEmpty()) << what << told.join('\n').toStdString();
}

TEST_F(SPXRecognizerTest, TellsAGapBehindTheSentencesBeforeItAndElseAtOnce) {
    ASSERT_TRUE(startSession());
    recognition.stream->noteGap(7);
    recognition.stream->write(std::string(3200, 'a'));
    ASSERT_TRUE(waitForFinals(1)) << "with no sentence in progress it need not wait for one";
    EXPECT_EQ(recognition.heard.finals().last(), "(7 s missing)");

    Recognition watchful(server.area(), 3s); // asks for a sign of life four times as often
    watchful.start(3200);
    ASSERT_TRUE(hasAudio(1, 0, 3200));
    SpeechSessionSeen& session = *server.sessions[1];
    session.send("speech.hypothesis", R"({"Text":"hel","Offset":0,"Duration":10})");
    ASSERT_TRUE(waitFor([&] { return watchful.heard.partials() == 1; }));
    watchful.stream->noteGap(20);
    watchful.stream->write(std::string(32'000, 'a'));
    EXPECT_TRUE(holdsFor([&] { return watchful.heard.finals().isEmpty() && !session.isClosed(); }, 3200))
        << "in mid-sentence, and a quiet service that answers is not lost";
    session.send("speech.phrase", helloPhrase);
    ASSERT_TRUE(waitFor([&] { return watchful.heard.finals().size() == 2; }));
    EXPECT_EQ(watchful.heard.finals(), QStringList({"Hello.", "(20 s missing)"}));
}

TEST_F(SPXRecognizerTest, ADropAfterTheLastResultIsTheEnd) {
    SpeechSessionSeen* const session = startSession();
    ASSERT_TRUE(session);
    recognition.stream->close();
    ASSERT_TRUE(waitFor([&] { return session->turns[0].audioEnded; }));
    session->send("speech.phrase", helloPhrase);
    ASSERT_TRUE(waitForFinals(1));
    session->drop();
    EXPECT_TRUE(holdsFor([&] { return server.connections == 1 && recognition.heard.cancellations().isEmpty(); }, 60));
}

TEST(SPXTlsTest, TheLocalAuthorityCountsForItsHostAlone) {
    // The certificate is right for both names of this machine.
    for (const auto& [trusted, host] :
         {std::pair("127.0.0.1", "127.0.0.1"), {"127.0.0.1", "localhost"}, {"", "127.0.0.1"}}) {
        SpeechEndpoint::setLocalTrust({trusted, tlsFile("authority.pem")});
        const ScriptedSpeechServer server(ScriptedSpeechServer::Scheme::wss);
        Recognition recognition(server.area(host));
        recognition.start(3200);
        ASSERT_TRUE(waitFor([&] { return !server.sessions.empty() || !recognition.heard.cancellations().isEmpty(); }));
        EXPECT_EQ(recognition.heard.cancellations().filter("TLS: ").size(), QString(trusted) == host ? 0 : 1);
    }
    SpeechEndpoint::setLocalTrust({"127.0.0.1", "no certificate at all"});
    EXPECT_TRUE(SpeechEndpoint::sslConfiguration("127.0.0.1").caCertificates().isEmpty())
        << "the system's do not help out";
    SpeechEndpoint::setLocalTrust({});
}

TEST_F(SPXRecognizerTest, SaysWhyItCannotBeMadeOrStarted) {
    auto configuration = SPXSpeechTranslationConfiguration::make("token", "eastasia").value();
    const SPXAudioConfiguration audio(recognition.stream);
    EXPECT_EQ(SPXSpeechRecognizer::make(configuration, audio).error(), "The recognition language is missing");
    configuration.setSpeechRecognitionLanguage("en-US");
    EXPECT_EQ(SPXTranslationRecognizer::make(configuration, audio).error(), "The target language is missing");
    configuration.addTargetLanguage("");
    EXPECT_EQ(SPXTranslationRecognizer::make(configuration, audio).error(), "A target language is empty");

    recognition.start();
    EXPECT_EQ(recognition.recognizer->startContinuousRecognition().error(), "The recognizer was started before");
    const auto second = SPXSpeechRecognizer::make(configuration, audio).value();
    EXPECT_EQ(second->startContinuousRecognition().error(), "The audio stream feeds another recognizer already");
}

TEST_F(SPXRecognizerTest, MayGoAtAnyStageOnAnyThreadAndCallsNothingAfterwards) {
    for (std::size_t round = 0; round < 30; ++round) {
        Recognition shortLived(server.area());
        const bool connected = round < 15;
        shortLived.start(3200);
        ASSERT_TRUE(!connected || hasAudio(round, 0, 3200));
        for (int i = 0; i < 10 && connected; ++i)
            server.sessions[round]->send("speech.phrase", helloPhrase);
        for (std::size_t spin = 0; spin < round % 6; ++spin)
            QCoreApplication::processEvents();
        std::thread([&] { shortLived.recognizer.reset(); }).join();
        const qsizetype told = shortLived.heard.finals().size();
        ASSERT_TRUE(!connected || waitFor([&] { return server.sessions[round]->isClosed(); }));
        EXPECT_EQ(shortLived.heard.finals().size(), told);
        EXPECT_TRUE(shortLived.heard.cancellations().isEmpty());
    }
}

TEST_F(SPXRecognizerTest, MayGoFromWithinItsOwnHandlers) {
    for (const bool byCancellation : {false, true}) {
        Recognition dropped(server.area());
        std::atomic<int> calls = 0;
        const auto held = std::make_shared<int>(1); // released with the handlers
        const auto drop = [&dropped, &calls, held](const auto&) {
            if (++calls == 1)
                dropped.recognizer.reset();
        };
        dropped.recognizer->addRecognizedEventHandler(drop);
        dropped.recognizer->addCanceledEventHandler(drop);
        dropped.start(3200);
        const std::size_t session = server.sessions.size();
        ASSERT_TRUE(hasAudio(session, 0, 3200));
        for (int i = 0; i < 5; ++i)
            server.sessions[session]->send("speech.phrase",
                                           byCancellation ? R"({"RecognitionStatus":"BadRequest"})" : helloPhrase);
        ASSERT_TRUE(waitFor([&] { return calls > 0 && server.sessions[session]->isClosed(); }));
        ASSERT_TRUE(waitFor([&] { return held.use_count() == 2; })) << "only this scope's two copies are left";
        EXPECT_EQ(calls, 1);
    }
}

} // namespace
} // namespace parlowen::testing
