#include <gmock/gmock.h>

#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "support/CallSound.h"
#include "support/PrivateAudioServer.h"
#include "support/ProgramRun.h"
#include "support/WordErrorRate.h"

/// Whole sessions of the program beside a call, on audio servers of their own.
namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

const QStringList speakersAlone{QStringLiteral(
    "module-null-sink sink_name=speakers rate=48000 channels=2 sink_properties=\"device.description='Speakers'\"")};
/// What is played into "room" comes out of the microphone.
const QStringList wholeMachine =
    speakersAlone + QStringList{QStringLiteral("module-null-sink sink_name=room rate=48000 channels=2 "
                                               "sink_properties=\"device.description='Room'\""),
                                QStringLiteral("module-remap-source master=room.monitor source_name=mic "
                                               "source_properties=\"device.description='USB Microphone'\"")};

class InterviewTest : public EitherAudioServer {
protected:
    /// With defaults that the user chose.
    void startMachine() {
        ASSERT_NO_FATAL_FAILURE(startServer(wholeMachine));
        watch = std::make_unique<ServerWatch>();
        ASSERT_TRUE(watch->until([] { return control({"list", "short", "sources"}).contains("\tmic\t"); }));
        control({"set-default-sink", "speakers"});
        control({"set-default-source", "mic"});
        ASSERT_TRUE(watch->until(
            [] { return control({"get-default-sink"}) == "speakers" && control({"get-default-source"}) == "mic"; }));
    }

    std::unique_ptr<ProgramRun> session(const QString& source) const {
        return std::make_unique<ProgramRun>(
            QStringList{"--interview", source, "--headless", "--json", "--language", "en-US", "--verbose"},
            QMap<QString, QString>{{"LC_ALL", "C"}}, home);
    }

    std::pair<int, std::string> print(const QStringList& arguments) const {
        ProgramRun run(arguments, {{"LC_ALL", "C"}}, home);
        const int status = run.finish();
        return {status, run.output.toStdString()};
    }

    /// Until these are the program's streams, and nothing else is different from `before`.
    void expectOnly(const QStringList& ours, const QStringList& before) const {
        EXPECT_TRUE(watch->until([&] { return applicationStreams() == ours; }, 40'000))
            << applicationStreams().join(u',').toStdString();
        EXPECT_EQ(differences(before, dumpServer()), "");
    }

    /// Says something in the hearing of a session.
    struct Voice {
        Speech speech;
        QString sink; ///< empty for the default output
        ProgramRun& listener;
    };
    static void speak(const std::vector<Voice>& voices) {
        std::vector<std::unique_ptr<Speaker>> speakers;
        std::vector<std::ptrdiff_t> heardBefore; // words
        for (const Voice& voice : voices) {
            heardBefore.push_back(std::ssize(wordsOf(voice.listener.heardText())));
            speakers.push_back(std::make_unique<Speaker>(voice.speech.sound, voice.sink));
        }
        for (const auto& speaker : speakers) {
            EXPECT_TRUE(waitFor([&] { return speaker->isDone(); }, 60'000));
            EXPECT_FALSE(speaker->failed());
        }
        for (std::size_t i = 0; i < voices.size(); ++i) {
            const auto said = wordsOf(voices[i].speech.text);
            ProgramRun& run = voices[i].listener;
            const auto errors = [&] {
                auto heard = wordsOf(run.heardText());
                heard.erase(heard.begin(), heard.begin() + heardBefore[i]);
                return wordErrors(said, heard);
            };
            EXPECT_TRUE(waitFor([&] { return errors() <= said.size() / 5; }, 15'000))
                << run.heardText() << run.errors.right(4000).toStdString();
        }
    }

    /// What the others in the meeting heard while the call said that.
    static void expectTheMicrophoneAlone(MeetingClient& client, const Speech& call) {
        const MeetingClient::Recorded recorded = client.recorded();
        std::cout << "the meeting's side: " << recorded.all / 10 << " s, without the microphone "
                  << recorded.withoutTone << ", with something else " << recorded.withMore << " tenths\n";
        // Its recorder writes every two seconds.
        EXPECT_GT(recorded.all, 10 * static_cast<int>(call.seconds()) / 2);
        // A busy machine makes single gaps; a call that comes back fills most of the time that it speaks.
        EXPECT_LE(recorded.withoutTone, recorded.all / 20);
        EXPECT_LE(recorded.withMore, recorded.all / 20);
    }

    static void endOrderly(ProgramRun& run, int number) {
        run.signal(number);
        EXPECT_TRUE(waitFor([&run] { return run.process.state() == QProcess::NotRunning; }, 20'000));
        EXPECT_EQ(run.finish(), 0) << run.errors.right(2000).toStdString();
        EXPECT_EQ(run.events(QStringLiteral("ended")).size(), 1U);
        EXPECT_TRUE(run.events(QStringLiteral("problem")).empty()) << run.output.toStdString();
    }

    std::shared_ptr<ProgramHome> home = std::make_shared<ProgramHome>();
    std::unique_ptr<ServerWatch> watch;
};

ON_EITHER_AUDIO_SERVER(InterviewTest);

TEST_P(InterviewTest, SessionsHearEachItsOwnTouchNothingAndLeaveNothingWhenKilled) {
    startMachine();
    const QStringList quiet = dumpServer();
    const auto system = session("system");
    expectOnly({"recording speakers.monitor"}, quiet);
    const auto microphone = session("microphone");
    expectOnly({"recording mic", "recording speakers.monitor"}, quiet);
    speak({{sampleSpeech(1, 1), {}, *system}, {sampleSpeech(2, 1), "room", *microphone}});
    endOrderly(*microphone, SIGHUP);
    expectOnly({"recording speakers.monitor"}, quiet);
    {
        const PlayedTone tone(daemon->address(), "room");
        MeetingClient chosen(QStringLiteral("mic")), byDefault;
        ASSERT_TRUE(watch->until([] { return dumpServer().filter("parec").size() == 2; }));
        const Speech call = sampleSpeech(0, 1);
        speak({{call, {}, *system}});
        system->signal(SIGKILL);
        for (MeetingClient* client : {&chosen, &byDefault})
            expectTheMicrophoneAlone(*client, call);
    }
    expectOnly({}, quiet);
}

TEST_P(InterviewTest, TheCheckSaysWhatWouldBeHeardAndTouchesNothing) {
    startMachine();
    const QStringList before = dumpServer();
    const auto [status, said] = print({"--check-audio", "--listen"});
    EXPECT_EQ(status, 0) << said;
    EXPECT_THAT(said, AllOf(HasSubstr("Speakers"), HasSubstr("USB Microphone"), HasSubstr("chirp came back")));
    expectOnly({}, before);
}

TEST(AudioCommandsTest, WithoutAServerTheySaySoAtOnce) {
    for (const QStringList& command : {QStringList{"--check-audio"}, QStringList{"--check-audio", "--listen"}}) {
        ProgramRun run(command, {{"LC_ALL", "C"}});
        EXPECT_EQ(run.finish(), 1);
        EXPECT_THAT(run.output.toStdString(),
                    AllOf(HasSubstr("problem No audio server answers.\n        Start "), Not(HasSubstr("ok  "))));
    }
}

} // namespace
} // namespace parlowen
