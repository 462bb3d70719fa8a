#include <gmock/gmock.h>

#include <QUrl>
#include <algorithm>
#include <cstring>

#include "RecognizerHarness.h"
#include "support/FaultProxy.h"
#include "support/ScriptedSpeechServer.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

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

/// What is heard from one byte to another: the numbers at both ends.
QString spanText(const std::string& audio, std::size_t from, std::size_t to) {
    return QString("%1-%2").arg(numberAt(audio, from)).arg(numberAt(audio, to - 4));
}

QStringList spansOf(const std::string& audio) {
    QStringList spans;
    for (std::size_t at = 0; at < audio.size(); at += sentence)
        spans.append(spanText(audio, at, std::min(at + sentence, audio.size())));
    return spans;
}

std::string phraseOf(const std::string& audio, std::size_t from, std::size_t to) {
    return QString(R"({"RecognitionStatus":"Success","DisplayText":"%1","Offset":%2,"Duration":%3})")
        .arg(spanText(audio, from, to))
        .arg(from / 2 * 625)
        .arg((to - from) / 2 * 625)
        .toStdString();
}

/// A speech service that makes a final result of each whole sentence of audio and names the numbers it heard.
class SentenceService {
public:
    explicit SentenceService(ScriptedSpeechServer& server) {
        server.onSession = [this](SpeechSessionSeen& session) {
            session.onAudio = [this](SpeechSessionSeen& s) { hear(s); };
        };
    }

    /// What may happen after a piece of audio that ends in mid-sentence: true when it did. The turn is over then.
    std::function<bool(SpeechSessionSeen&)> midSentence;

private:
    void hear(SpeechSessionSeen& session) {
        SpeechTurnSeen& turn = session.turns.back();
        if (over_.contains(turn.requestId))
            return;
        std::size_t& done = done_[turn.requestId];
        for (; done + sentence <= turn.audio.size(); done += sentence)
            session.send("speech.phrase", phraseOf(turn.audio, done, done + sentence));
        if (turn.audioEnded) {
            if (done < turn.audio.size())
                session.send("speech.phrase", phraseOf(turn.audio, done, turn.audio.size()));
            session.send("turn.end", "{}");
        } else if (done < turn.audio.size() && midSentence && midSentence(session)) {
            over_.insert(turn.requestId);
        }
    }

    std::set<std::string> over_;
    std::map<std::string, std::size_t> done_;
};

std::vector<SpeechTurnSeen> turnsOf(const ScriptedSpeechServer& server) {
    std::vector<SpeechTurnSeen> turns;
    for (const auto& session : server.sessions)
        turns.insert(turns.end(), session->turns.begin(), session->turns.end());
    return turns;
}

/// Every turn's audio is a piece of the whole without a hole, and begins at the end of a sentence; the last one ends
/// where the whole ends.
void expectUnbrokenTurns(const ScriptedSpeechServer& server, const std::string& audio) {
    const auto turns = turnsOf(server);
    for (const SpeechTurnSeen& turn : turns) {
        EXPECT_EQ(turn.waveHeader, wire::waveHeader());
        if (turn.audio.empty())
            continue;
        const std::size_t from = std::size_t{numberAt(turn.audio, 0)} * 4;
        EXPECT_EQ(from % sentence, 0U);
        EXPECT_EQ(turn.audio, audio.substr(from, turn.audio.size())) << "from byte " << from;
    }
    for (const auto& session : server.sessions)
        EXPECT_TRUE(session->problems.empty()) << session->problems.front();
    ASSERT_FALSE(turns.empty());
    EXPECT_TRUE(turns.back().audioEnded);
    EXPECT_TRUE(audio.ends_with(turns.back().audio));
}

struct Fault {
    const char* name;
    void (*make)(SpeechSessionSeen&);
    bool sameSocket = false;
};

class SpeechReplayTest : public ::testing::TestWithParam<Fault> {};

TEST_P(SpeechReplayTest, LosesNoWordAndNoSampleHoweverOftenItHappens) {
    const std::string audio = numberedAudio(124'804);
    ScriptedSpeechServer server;
    SentenceService service(server);
    std::size_t faults = 0;
    std::size_t allowed = 0;
    service.midSentence = [&](SpeechSessionSeen& session) {
        if (faults == allowed)
            return false;
        ++faults;
        GetParam().make(session);
        return true;
    };
    Recognition recognition(server.area());
    recognition.start();
    // Each step ends in mid-sentence and brings up to three faults in a row; its results are waited for.
    constexpr std::size_t step = 16'000;
    for (std::size_t at = 0, steps = 0; at < audio.size(); at += step, ++steps) {
        const bool last = at + step >= audio.size();
        // A turn that ends behind the end of the audio is the end of it all.
        allowed += last && GetParam().sameSocket ? 0 : steps % 4;
        recognition.stream->write(std::string_view(audio).substr(at, step));
        if (last)
            recognition.stream->close();
        const qsizetype expected = last ? spansOf(audio).size() : static_cast<qsizetype>((at + step) / sentence);
        ASSERT_TRUE(waitFor([&] {
            return recognition.heard.finals().size() >= expected && (faults == allowed || last);
        })) << "at byte "
            << at << ": " << faults << " of " << allowed << " faults";
    }
    EXPECT_EQ(recognition.heard.finals(), spansOf(audio));
    EXPECT_EQ(recognition.heard.cancellations(), QStringList());
    expectUnbrokenTurns(server, audio);
    EXPECT_GE(faults, 8U);
    EXPECT_EQ(server.sessions.size(), GetParam().sameSocket ? 1U : faults + 1);
    std::set<std::string> requests;
    for (const SpeechTurnSeen& turn : turnsOf(server))
        requests.insert(turn.requestId);
    EXPECT_EQ(requests.size(), faults + 1) << "each turn has an id of its own";
}

INSTANTIATE_TEST_SUITE_P(
    Faults, SpeechReplayTest,
    ::testing::Values(Fault{"Dropped", [](SpeechSessionSeen& s) { s.drop(); }},
                      Fault{"InternalError", [](SpeechSessionSeen& s) { s.close(1011, "internal error"); }},
                      Fault{"TurnEnded", [](SpeechSessionSeen& s) { s.send("turn.end", "{}"); }, true}),
    [](const auto& parameter) { return parameter.param.name; });

TEST(SpeechReplayOverTheNetworkTest, CutsInMidMessageAndAConnectionThatFallsSilentLoseNothing) {
    ScriptedSpeechServer server;
    const SentenceService service(server);
    FaultProxy proxy(static_cast<quint16>(QUrl(server.area()).port()));
    for (const qint64 bytes : {100, 5'000, 9'999, 31'111})
        proxy.plan({bytes});
    proxy.plan({20'000, FaultProxy::Fault::stall});
    const std::string audio = numberedAudio(124'804);
    Recognition recognition(QString("ws://127.0.0.1:%1").arg(proxy.port()), std::chrono::milliseconds(500));
    recognition.stream->write(std::string_view(audio).substr(0, 62'404)); // within a sentence
    recognition.start();
    ASSERT_TRUE(waitFor([&] { return proxy.connections() > 5; }));
    recognition.stream->write(std::string_view(audio).substr(62'404));
    recognition.stream->close();
    // A final result may be lost on its way in a cut; its audio is then heard again.
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().contains(spansOf(audio).last()); }));
    EXPECT_EQ(recognition.heard.finals(), spansOf(audio));
    EXPECT_TRUE(recognition.heard.cancellations().isEmpty());
    expectUnbrokenTurns(server, audio);
}

TEST(SpeechReplayOverTheNetworkTest, ACutLongerThanWhatIsKeptTellsWhatIsMissingAndLosesNothingElse) {
    constexpr std::size_t second = SpeechBacklog::bytesPerSecond;
    ScriptedSpeechServer server;
    const SentenceService service(server);
    const std::string audio = numberedAudio(80 * second);
    Recognition recognition(server.area());
    recognition.stream->write(std::string_view(audio).substr(0, 2 * second));
    recognition.start();
    ASSERT_TRUE(waitFor([&] { return recognition.heard.finals().size() == 10; }));
    server.hangUpOnNext(3);
    server.sessions[0]->drop();
    for (std::size_t at = 2; at < 80; at += 2)
        recognition.stream->write(std::string_view(audio).substr(at * second, 2 * second));
    ASSERT_TRUE(waitFor([&] { return server.sessions.size() == 2 && recognition.heard.finals().size() >= 36; }));
    EXPECT_EQ(recognition.heard.finals().mid(0, 10), spansOf(audio.substr(0, 2 * second)));
    EXPECT_EQ(recognition.heard.finals()[10].toStdString(), "(18 s missing)");
    EXPECT_EQ(recognition.heard.finals().mid(11, 25), spansOf(audio.substr(20 * second, 5 * second)));
}

} // namespace
} // namespace parlowen::testing
