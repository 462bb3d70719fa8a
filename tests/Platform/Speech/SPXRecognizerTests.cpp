#include "support/ScriptedSpeechServer.h"
#include "support/Testing.h"
#include "support/TlsFiles.h"
#include "support/WaitFor.h"
#include <QRegularExpression>
#include <QStringList>
#include <Speech/SPXRecognizer.h>
#include <chrono>
#include <thread>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;

/// What a recognizer told, from whichever thread.
class Heard {
public:
    void listenTo(SPXRecognizer& recognizer) {
        recognizer.addRecognizedEventHandler([this](const auto& event) { note(finals_, *event.result.text); });
        recognizer.addRecognizingEventHandler([this](const auto&) { ++partials_; });
        recognizer.addGapEventHandler(
            [this](const auto& event) { note(finals_, QString("(%1 s missing)").arg(event.seconds)); });
        recognizer.addConnectionEventHandler(
            [this](const auto& event) { note(connections_, event.connected ? "reached" : event.details.english); });
        recognizer.addCanceledEventHandler(
            [this](const auto& event) { note(cancellations_, event.errorDetails->english); });
    }

    QStringList finals() const { return copyOf(finals_); } ///< and gaps in their place among them
    int partials() const { return partials_; }
    QStringList connections() const { return copyOf(connections_); } ///< "reached", or why it was lost
    QStringList cancellations() const { return copyOf(cancellations_); }

private:
    void note(QStringList& list, const QString& text) {
        const std::lock_guard lock(mutex_);
        list << text;
    }
    /// A list of its own: what shares one counts its owners outside of the lock.
    QStringList copyOf(const QStringList& list) const {
        const std::lock_guard lock(mutex_);
        return {list.cbegin(), list.cend()};
    }

    mutable std::mutex mutex_;
    QStringList finals_, connections_, cancellations_;
    std::atomic<int> partials_ = 0;
};

/// A recognizer on a stream, with someone who listens. Short pauses, so that tests of reconnects are quick.
struct Recognition {
    explicit Recognition(const QString& area, std::chrono::milliseconds answerTimeout = std::chrono::minutes(1)) {
        auto configuration = SPXSpeechConfiguration::make("the-token", area).value();
        configuration.setSpeechRecognitionLanguage("en-US");
        configuration.setFirstReconnectPause(std::chrono::milliseconds(5));
        configuration.setAnswerTimeout(answerTimeout);
        recognizer = SPXSpeechRecognizer::make(configuration, SPXAudioConfiguration(stream)).value();
        heard.listenTo(*recognizer);
    }
    void start(std::size_t bytes = 0) {
        stream->write(std::string(bytes, 'a'));
        EXPECT_TRUE(recognizer->startContinuousRecognition());
    }

    Heard heard; ///< first, so that it outlives the recognizer
    std::shared_ptr<SPXPushAudioInputStream> stream = std::make_shared<SPXPushAudioInputStream>();
    std::unique_ptr<SPXRecognizer> recognizer;
};

constexpr const char* helloPhrase =
    R"({"RecognitionStatus":"Success","DisplayText":"Hello.","Offset":0,"Duration":1000000})";

struct SPXRecognizerTest : ::testing::Test {
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
    server.sessions[1]->send("speech.phrase", R"({"RecognitionStatus":"TooManyRequests"})");
    ASSERT_TRUE(hasAudio(2, 0, 3200));
    EXPECT_TRUE(recognition.heard.connections().last().contains("TooManyRequests")) << "until it takes sound";
    server.sessions[2]->close(4000, "offered are en-US");
    EXPECT_THAT(cancellation(), AllOf(HasSubstr("code 4000"), HasSubstr("offered are en-US")));
    EXPECT_EQ(server.connections, 3);
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
    const SystemTrusts system(tlsFile("authority.pem"));
    SpeechEndpoint::setLocalTrust({"127.0.0.1", "another authority"});
    EXPECT_EQ(SpeechEndpoint::sslConfiguration("127.0.0.1").caCertificates().size(), 1) << "it adds to the system's";
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

constexpr std::size_t sentence = 6400; // bytes

/// Audio in which every four bytes say where they are, so that a lost or doubled sample shows.
std::string numberedAudio(std::size_t bytes) {
    std::string audio(bytes, '\0');
    for (std::uint32_t i = 0; i < bytes / 4; ++i)
        std::memcpy(audio.data() + std::size_t{i} * 4, &i, 4);
    return audio;
}

std::uint32_t numberAt(const std::string& audio, std::size_t byte) {
    std::uint32_t number = 0;
    std::memcpy(&number, audio.data() + byte, 4);
    return number;
}

/// What is heard of the sentence that begins at that byte: the numbers at both ends.
QString spanText(const std::string& audio, std::size_t from) {
    const std::size_t to = std::min(from + sentence, audio.size());
    return QString("%1-%2").arg(numberAt(audio, from)).arg(numberAt(audio, to - 4));
}

QStringList spansOf(const std::string& audio) {
    QStringList spans;
    for (std::size_t at = 0; at < audio.size(); at += sentence)
        spans.append(spanText(audio, at));
    return spans;
}

/// A speech service that makes a final result of each whole sentence of audio and names the numbers it heard. Its first
/// connections are dropped behind so many bytes each, and the one after them takes in and answers no more.
class SentenceService {
public:
    SentenceService(ScriptedSpeechServer& server, std::vector<std::size_t> cuts) {
        server.onSession = [this, &server, cuts = std::move(cuts)](SpeechSessionSeen& session) {
            const std::size_t number = server.sessions.size() - 1;
            session.onAudio = [this, &server, number, cuts](SpeechSessionSeen& s) {
                const bool isOver = number < cuts.size() && s.turns.back().audio.size() >= cuts[number];
                if (isOver && number + 1 < cuts.size())
                    s.drop();
                else if (isOver)
                    server.stallNewest();
                else
                    hear(s);
            };
        };
    }

private:
    void hear(SpeechSessionSeen& session) {
        const SpeechTurnSeen& turn = session.turns.back();
        std::size_t& done = done_[turn.requestId];
        while (done + sentence <= turn.audio.size() || (turn.audioEnded && done < turn.audio.size())) {
            const std::size_t length = std::min(sentence, turn.audio.size() - done);
            session.send("speech.phrase", QString(R"({"DisplayText":"%1","Offset":%2,"Duration":%3})")
                                              .arg(spanText(turn.audio, done))
                                              .arg(done / 2 * 625)
                                              .arg(length / 2 * 625)
                                              .toStdString());
            done += length;
        }
        if (turn.audioEnded)
            session.send("turn.end", "{}");
    }

    std::map<std::string, std::size_t> done_; ///< bytes, by the id of their turn
};

TEST(SpeechReplayTest, CutsAndAConnectionThatFallsSilentLoseNoWordAndNoSample) {
    ScriptedSpeechServer server;
    const SentenceService service(server, {1, 5'000, 9'999, 21'000, 31'111, 20'000});
    const std::string audio = numberedAudio(124'804);
    Recognition recognition(server.area(), std::chrono::milliseconds(500));
    recognition.stream->write(std::string_view(audio).substr(0, 62'404)); // within a sentence
    recognition.start();
    ASSERT_TRUE(waitFor([&] { return server.connections > 6; }));
    recognition.stream->write(std::string_view(audio).substr(62'404));
    recognition.stream->close();
    // A final result may be lost on its way in a cut; its audio is then heard again.
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().contains(spansOf(audio).last()); }));
    EXPECT_EQ(recognition.heard.finals(), spansOf(audio));
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
    // Each turn's audio is a piece of the whole without a hole, and begins at the end of a sentence.
    std::set<std::string> requests;
    std::size_t turns = 0;
    for (const auto& session : server.sessions) {
        EXPECT_TRUE(session->problems.empty()) << session->problems.front();
        for (const SpeechTurnSeen& turn : session->turns) {
            ++turns;
            requests.insert(turn.requestId);
            const std::size_t from = turn.audio.empty() ? 0 : std::size_t{numberAt(turn.audio, 0)} * 4;
            EXPECT_EQ(from % sentence, 0U);
            EXPECT_EQ(turn.audio, audio.substr(from, turn.audio.size())) << "from byte " << from;
        }
    }
    EXPECT_EQ(requests.size(), turns) << "each turn has an id of its own";
}

} // namespace
} // namespace parlowen::testing
