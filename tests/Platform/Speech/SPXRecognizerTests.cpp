#include <gmock/gmock.h>

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QUrlQuery>
#include <future>

#include "RecognizerHarness.h"
#include "support/ScriptedSpeechServer.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr const char* helloPhrase =
    R"({"RecognitionStatus":"Success","DisplayText":"Hello.","Offset":0,"Duration":1000000})";

/// Waits until a turn of the session has that much audio.
bool hasAudio(const ScriptedSpeechServer& server, std::size_t session, std::size_t turn, std::size_t bytes) {
    return waitFor([&] {
        return server.sessions.size() > session && server.sessions[session]->turns.size() > turn &&
               server.sessions[session]->turns[turn].audio.size() >= bytes;
    });
}

TEST(SPXRecognizerTest, OpensSendsAndEndsInOrder) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    std::string audio;
    for (int i = 0; i < 5001; ++i)
        audio.push_back(static_cast<char>(i % 251));
    recognition.stream->write(std::string(audio));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    recognition.stream->close();
    ASSERT_TRUE(waitFor([&] { return server.sessions[0]->turns[0].audioEnded; }));

    SpeechSessionSeen& session = *server.sessions[0];
    EXPECT_EQ(session.url().path(), "/stt/speech/universal/v2");
    EXPECT_EQ(session.url().query(), "language=en-US&format=simple");
    EXPECT_EQ(session.header("Authorization"), "Bearer the-token");
    EXPECT_EQ(session.header("X-ConnectionId").size(), 32);
    std::vector<std::string> paths;
    for (const wire::SpeechMessage& message : session.messages) {
        paths.emplace_back(message.path());
        EXPECT_EQ(message.requestId(), session.turns[0].requestId);
        EXPECT_THAT(std::string(message.header("X-Timestamp")), HasSubstr("T"));
    }
    EXPECT_THAT(paths, ::testing::ElementsAre("speech.config", "speech.context", "audio", "audio", "audio", "audio"));
    EXPECT_EQ(session.turns[0].audio, audio);
    EXPECT_EQ(session.turns[0].largestPiece, 3200U);
    EXPECT_EQ(session.problems, std::vector<std::string>());

    session.send("speech.phrase", helloPhrase);
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finalTexts() == QStringList{"Hello."}; }));
    EXPECT_FALSE(session.isClosed());
    session.send("turn.end", "");
    ASSERT_TRUE(waitFor([&] { return session.isClosed(); })) << "nothing is left to do";
    EXPECT_EQ(session.turns.size(), 1U);
    EXPECT_TRUE(holdsFor([&] { return server.connections == 1; }, 50));
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
    EXPECT_EQ(recognition.heard.threads().size(), 1U);
    EXPECT_FALSE(recognition.heard.threads().contains(std::this_thread::get_id()));
}

TEST(SPXRecognizerTest, TranslatesEndToEnd) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area(), {"es"});
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    SpeechSessionSeen& session = *server.sessions[0];
    const QUrlQuery query(session.url());
    EXPECT_EQ(query.queryItemValue("from"), "en-US");
    EXPECT_EQ(query.queryItemValue("to"), "es");
    EXPECT_EQ(query.queryItemValue("scenario"), "conversation");
    EXPECT_THAT(session.turns[0].context, HasSubstr(R"("targetLanguages":["es"])"));
    session.send("translation.response", R"({"SpeechHypothesis":{"Text":"Hel","Offset":0,"Duration":1},
        "TranslationStatus":"Success","Translations":[{"Language":"es","DisplayText":"Hol"}]})");
    session.send("translation.response",
                 R"({"SpeechPhrase":{"RecognitionStatus":"Success","DisplayText":"Hello.","Offset":0,
        "Duration":1},"TranslationStatus":"Success","Translations":[{"Language":"es-ES","DisplayText":"Hola."}]})");
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().size() == 1; }));
    ASSERT_EQ(recognition.heard.partials().size(), 1U);
    EXPECT_EQ(recognition.heard.partials()[0].translations.value("es"), "Hol");
    EXPECT_EQ(recognition.heard.finals()[0].text, "Hello.");
    EXPECT_EQ(recognition.heard.finals()[0].translations.value("es"), "Hola.");
}

TEST(SPXRecognizerTest, ANewTurnOpensOnTheSameSocketOnceThereIsAudio) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.stream->write(std::string(3200, 'a') + std::string(3200, 'b'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 6400));
    SpeechSessionSeen& session = *server.sessions[0];
    const std::string firstTurn = session.turns[0].requestId;
    session.send("speech.phrase", R"({"RecognitionStatus":"Success","DisplayText":"a","Offset":0,"Duration":2000000})");
    session.send("turn.end", "{}");
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().size() == 1; }));
    EXPECT_TRUE(holdsFor([&] { return session.turns.size() == 1; }, 50)) << "all audio has had its result";
    recognition.stream->write(std::string(3200, 'c'));
    ASSERT_TRUE(hasAudio(server, 0, 1, 3200));
    EXPECT_EQ(session.turns[1].audio, std::string(3200, 'c'));
    EXPECT_EQ(session.turns[1].waveHeader, wire::waveHeader());
    EXPECT_EQ(std::count_if(session.messages.begin(), session.messages.end(),
                            [](const auto& m) { return m.path() == "speech.config"; }),
              1);
    session.send("speech.phrase", R"({"RecognitionStatus":"Success","DisplayText":"late"})", firstTurn);
    session.send("speech.phrase", R"({"RecognitionStatus":"Success","DisplayText":"c"})");
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().size() == 2; }));
    EXPECT_EQ(recognition.heard.finalTexts(), (QStringList{"a", "c"}));
}

TEST(SPXRecognizerTest, TheFirstFiveSecondsGoAtOnceTheRestAtTwiceRealTime) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.stream->write(std::string(160'000 + 64'000, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 160'000));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(hasAudio(server, 0, 0, 224'000));
    EXPECT_GT(std::chrono::steady_clock::now() - start, 800ms);
}

class FatalCloseTest : public ::testing::TestWithParam<int> {};

TEST_P(FatalCloseTest, CancelsOnceWithDetails) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    server.sessions[0]->close(GetParam(), "offered are en-US");
    ASSERT_TRUE(waitFor([&] { return !recognition.heard.cancellations().isEmpty(); }));
    EXPECT_THAT(recognition.heard.cancellations()[0].toStdString(), HasSubstr(std::to_string(GetParam())));
    EXPECT_THAT(recognition.heard.cancellations()[0].toStdString(), HasSubstr("offered are en-US"));
    recognition.stream->write(std::string(32'000, 'a'));
    EXPECT_TRUE(holdsFor([&] { return server.connections == 1 && recognition.heard.cancellations().size() == 1; }, 60));
}

INSTANTIATE_TEST_SUITE_P(Codes, FatalCloseTest, ::testing::Values(1002, 1003, 1007, 4000));

class PassingCloseTest : public ::testing::TestWithParam<int> {};

TEST_P(PassingCloseTest, ConnectsAgainWithTheSameConnectionId) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    if (GetParam() == 1006)
        server.sessions[0]->drop();
    else
        server.sessions[0]->close(GetParam());
    ASSERT_TRUE(hasAudio(server, 1, 0, 3200)) << recognition.heard.cancellations().join(' ').toStdString();
    EXPECT_EQ(server.sessions[1]->header("X-ConnectionId"), server.sessions[0]->header("X-ConnectionId"));
    EXPECT_EQ(server.sessions[1]->header("Authorization"), "Bearer the-token");
    EXPECT_NE(server.sessions[1]->turns[0].requestId, server.sessions[0]->turns[0].requestId);
    EXPECT_EQ(server.sessions[1]->messages[0].path(), "speech.config");
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Codes, PassingCloseTest, ::testing::Values(1000, 1001, 1006, 1008, 1011, 1012));

class FatalStatusTest : public ::testing::TestWithParam<int> {};

TEST_P(FatalStatusTest, CancelsOnceWithDetails) {
    ScriptedSpeechServer server;
    server.refuseNext(GetParam());
    Recognition recognition(server.area());
    recognition.start();
    ASSERT_TRUE(waitFor([&] { return !recognition.heard.cancellations().isEmpty(); }));
    EXPECT_THAT(recognition.heard.cancellations()[0].toStdString(),
                HasSubstr("HTTP status " + std::to_string(GetParam())));
    EXPECT_TRUE(holdsFor([&] { return server.connections == 1 && recognition.heard.cancellations().size() == 1; }, 60));
}

INSTANTIATE_TEST_SUITE_P(Statuses, FatalStatusTest, ::testing::Values(400, 401, 403, 404));

TEST(SPXReconnectTest, TriesAgainAfterPassingRefusals) {
    ScriptedSpeechServer server;
    server.refuseNext(429);
    server.refuseNext(503);
    server.hangUpOnNext();
    Recognition recognition(server.area());
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    EXPECT_EQ(server.connections, 4);
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
}

TEST(SPXReconnectTest, AnUpgradeWithoutAnAnswerIsGivenUp) {
    ScriptedSpeechServer server;
    server.leaveNextUnanswered();
    Recognition recognition(server.area(), {}, 200ms);
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    EXPECT_EQ(server.connections, 2);
}

TEST(SPXReconnectTest, GivesUpAfterFiveAttemptsWithGrowingPauses) {
    ScriptedSpeechServer server;
    server.refuseNext(503, 100);
    Recognition recognition(server.area());
    const auto start = std::chrono::steady_clock::now();
    recognition.start();
    ASSERT_TRUE(waitFor([&] { return !recognition.heard.cancellations().isEmpty(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5ms + 10ms + 20ms + 40ms + 80ms);
    EXPECT_EQ(server.connections, 6);
    EXPECT_THAT(recognition.heard.cancellations()[0].toStdString(), HasSubstr("5 attempts"));
    EXPECT_THAT(recognition.heard.cancellations()[0].toStdString(), HasSubstr("503"));
    EXPECT_TRUE(
        holdsFor([&] { return server.connections == 6 && recognition.heard.cancellations().size() == 1; }, 200));
}

TEST(SPXReconnectTest, AFinalResultMakesTheAttemptsCountAnew) {
    ScriptedSpeechServer server;
    server.hangUpOnNext(4);
    server.acceptNext();
    server.hangUpOnNext(4);
    Recognition recognition(server.area());
    recognition.stream->write(std::string(6400, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 6400));
    server.sessions[0]->send("speech.phrase", helloPhrase);
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().size() == 1; }));
    server.sessions[0]->drop();
    ASSERT_TRUE(hasAudio(server, 1, 0, 3200));
    EXPECT_EQ(server.connections, 10);
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
}

TEST(SPXReconnectTest, DropsWithoutAFinalResultInBetweenAreCountedAlthoughItConnects) {
    ScriptedSpeechServer server;
    server.onSession = [](SpeechSessionSeen& session) { session.onAudio = [](SpeechSessionSeen& s) { s.drop(); }; };
    Recognition recognition(server.area());
    recognition.stream->write(std::string(6400, 'a'));
    recognition.start();
    ASSERT_TRUE(waitFor([&] { return !recognition.heard.cancellations().isEmpty(); }));
    EXPECT_EQ(server.connections, 6);
}

TEST(SPXReconnectTest, ADropAfterTheLastResultIsTheEnd) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.stream->write(std::string(3200, 'a'));
    recognition.stream->close();
    recognition.start();
    ASSERT_TRUE(waitFor([&] {
        return server.sessions.size() == 1 && !server.sessions[0]->turns.empty() &&
               server.sessions[0]->turns[0].audioEnded;
    }));
    server.sessions[0]->send("speech.phrase", helloPhrase);
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().size() == 1; }));
    server.sessions[0]->drop();
    EXPECT_TRUE(holdsFor([&] { return server.connections == 1 && recognition.heard.cancellations().isEmpty(); }, 60));
}

TEST(SPXRecognizerTest, AServiceThatCancelsAndAnAddressWithNobody) {
    ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    ASSERT_TRUE(hasAudio(server, 0, 0, 3200));
    server.sessions[0]->send("speech.phrase", R"({"RecognitionStatus":"TooManyRequests"})");
    server.sessions[0]->send("speech.phrase", R"({"RecognitionStatus":"Error"})");
    ASSERT_TRUE(waitFor([&] { return server.sessions[0]->isClosed(); }));
    EXPECT_EQ(recognition.heard.cancellations().size(), 1);
    EXPECT_THAT(recognition.heard.cancellations()[0].toStdString(), HasSubstr("TooManyRequests"));

    Recognition lonely("ws://127.0.0.1:1");
    lonely.start();
    ASSERT_TRUE(waitFor([&] { return !lonely.heard.cancellations().isEmpty(); }));
    EXPECT_THAT(lonely.heard.cancellations()[0].toStdString(), HasSubstr("No connection"));
}

/// What becomes of a connection to a wss server whose certificate is right for both names of this machine: the reason
/// of its cancellation, or "heard" when it worked.
QString outcomeOf(const QString& trustedHost, const QString& host) {
    QFile authority(PARLOWEN_SOURCE_DIR "/tests/support/tls/authority.pem");
    EXPECT_TRUE(authority.open(QFile::ReadOnly));
    SpeechEndpoint::setLocalTrust({trustedHost, authority.readAll()});
    const ScriptedSpeechServer server(ScriptedSpeechServer::Scheme::wss);
    Recognition recognition(server.area(host));
    recognition.stream->write(std::string(3200, 'a'));
    recognition.start();
    const auto isHeard = [&server] {
        return !server.sessions.empty() && !server.sessions[0]->turns.empty() &&
               !server.sessions[0]->turns[0].audio.empty();
    };
    EXPECT_TRUE(waitFor([&] { return isHeard() || !recognition.heard.cancellations().isEmpty(); }));
    SpeechEndpoint::setLocalTrust({});
    return isHeard() ? QString("heard") : recognition.heard.cancellations().join('\n');
}

TEST(SPXTlsTest, TheLocalAuthorityCountsForItsHostAlone) {
    EXPECT_EQ(outcomeOf("127.0.0.1", "127.0.0.1"), "heard");
    EXPECT_THAT(outcomeOf("127.0.0.1", "localhost").toStdString(), ::testing::StartsWith("TLS: "));
    EXPECT_THAT(outcomeOf({}, "127.0.0.1").toStdString(), ::testing::StartsWith("TLS: "));
    SpeechEndpoint::setLocalTrust({"127.0.0.1", "no certificate at all"});
    EXPECT_TRUE(SpeechEndpoint::sslConfiguration("127.0.0.1").caCertificates().isEmpty())
        << "the system's do not help out";
    SpeechEndpoint::setLocalTrust({});
}

TEST(SPXRecognizerTest, SaysWhyItCannotBeMadeOrStarted) {
    QString error;
    auto configuration = SPXSpeechTranslationConfiguration::make("token", "eastasia", &error);
    ASSERT_TRUE(configuration);
    const auto stream = std::make_shared<SPXPushAudioInputStream>();
    EXPECT_FALSE(SPXSpeechRecognizer::make(*configuration, SPXAudioConfiguration(stream), &error));
    EXPECT_EQ(error, "The recognition language is missing");
    configuration->setSpeechRecognitionLanguage("en-US");
    EXPECT_FALSE(SPXSpeechRecognizer::make(*configuration, SPXAudioConfiguration(nullptr), &error));
    EXPECT_EQ(error, "The audio stream is missing");
    EXPECT_FALSE(SPXTranslationRecognizer::make(*configuration, SPXAudioConfiguration(stream), &error));
    EXPECT_EQ(error, "The target language is missing");
    configuration->addTargetLanguage("");
    EXPECT_FALSE(SPXTranslationRecognizer::make(*configuration, SPXAudioConfiguration(stream), &error));
    EXPECT_EQ(error, "A target language is empty");

    const ScriptedSpeechServer server;
    Recognition recognition(server.area());
    recognition.start();
    EXPECT_FALSE(recognition.recognizer->startContinuousRecognition(&error));
    EXPECT_EQ(error, "The recognizer was started before");
    auto second = SPXSpeechRecognizer::make(*configuration, SPXAudioConfiguration(recognition.stream), &error);
    ASSERT_TRUE(second);
    EXPECT_FALSE(second->startContinuousRecognition(&error));
    EXPECT_EQ(error, "The audio stream feeds another recognizer already");
}

TEST(SPXLifetimeTest, NothingIsCalledOnceItIsGone) {
    ScriptedSpeechServer server;
    for (int round = 0; round < 20; ++round) {
        Recognition recognition(server.area());
        recognition.stream->write(std::string(3200, 'a'));
        recognition.start();
        const auto session = static_cast<std::size_t>(round);
        ASSERT_TRUE(hasAudio(server, session, 0, 3200));
        for (int i = 0; i < 10; ++i)
            server.sessions[session]->send("speech.phrase", helloPhrase);
        if (round % 2 == 0) {
            ASSERT_TRUE(waitFor([&] { return !recognition.heard.finals().empty(); }));
        }
        recognition.stream->close();
        recognition.recognizer.reset();
        const std::size_t told = recognition.heard.finals().size();
        ASSERT_TRUE(waitFor([&] { return server.sessions[session]->isClosed(); }));
        EXPECT_EQ(recognition.heard.finals().size(), told);
        EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
    }
}

TEST(SPXLifetimeTest, MayGoAtAnyStageAndOnAnyThread) {
    ScriptedSpeechServer server;
    { const Recognition neverStarted(server.area()); }
    for (int round = 0; round < 30; ++round) {
        Recognition recognition(server.area());
        recognition.start();
        for (int spin = 0; spin < round % 6; ++spin)
            QCoreApplication::processEvents();
        std::thread([&] { recognition.recognizer.reset(); }).join();
    }
    server.refuseNext(503, 3);
    Recognition waiting(server.area());
    waiting.start();
    const int before = server.connections;
    ASSERT_TRUE(waitFor([&] { return server.connections > before; }));
    waiting.recognizer.reset();
}

TEST(SPXLifetimeTest, MayGoFromWithinItsOwnHandlers) {
    ScriptedSpeechServer server;
    for (const bool byCancellation : {false, true}) {
        Recognition recognition(server.area());
        std::atomic<int> calls = 0;
        std::promise<void> gone;
        const auto held = std::make_shared<int>(1); // released with the handlers
        const auto drop = [&recognition, &calls, &gone, held](const auto&) {
            if (++calls == 1) {
                recognition.recognizer.reset();
                gone.set_value();
            }
        };
        recognition.recognizer->addRecognizedEventHandler(drop);
        recognition.recognizer->addCanceledEventHandler(drop);
        recognition.stream->write(std::string(3200, 'a'));
        recognition.start();
        const std::size_t session = server.sessions.size();
        ASSERT_TRUE(hasAudio(server, session, 0, 3200));
        if (byCancellation)
            server.sessions[session]->close(1007);
        for (int i = 0; i < 5 && !byCancellation; ++i)
            server.sessions[session]->send("speech.phrase", helloPhrase);
        auto done = gone.get_future();
        ASSERT_TRUE(waitFor([&] { return done.wait_for(0s) == std::future_status::ready; }));
        ASSERT_TRUE(waitFor([&] { return server.sessions[session]->isClosed(); }));
        ASSERT_TRUE(waitFor([&] { return held.use_count() == 2; })) << "only this scope's two copies are left";
        EXPECT_EQ(calls, 1);
    }
}

} // namespace
} // namespace parlowen::testing
