#include <gmock/gmock.h>

#include <cstring>
#include <set>

#include "RecognizerHarness.h"
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
