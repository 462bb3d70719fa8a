#include "support/CallSound.h"
#include "support/PrivateAudioServer.h"
#include "support/ProgramRun.h"
#include "support/Testing.h"
#include "support/WordErrorRate.h"

/// Whole sessions of the program beside a call, on audio servers of their own.
namespace parlowen::testing {
namespace {

/// What is played into "room" comes out of the microphone.
const QStringList wholeMachine{
    "module-null-sink sink_name=speakers rate=48000 channels=2 sink_properties=\"device.description='Speakers'\"",
    "module-null-sink sink_name=room rate=48000 channels=2 sink_properties=\"device.description='Room'\"",
    "module-remap-source master=room.monitor source_name=mic source_properties=\"device.description='USB "
    "Microphone'\""};

struct InterviewTest : EitherAudioServer {
    /// With defaults that the user chose.
    void startMachine() {
        ASSERT_NO_FATAL_FAILURE(startServer(wholeMachine));
        watch = std::make_unique<ServerWatch>();
        ASSERT_TRUE(watch->until([] { return control({"list", "short", "sources"}).contains("\tmic\t"); }));
        control({"set-default-sink", "speakers"});
        control({"set-default-source", "mic"});
        ASSERT_TRUE(watch->until(
            [] { return control({"get-default-sink"}) == "speakers" && control({"get-default-source"}) == "mic"; }));
        idle = recordings();
    }
    std::unique_ptr<ProgramRun> session(const QString& source) const {
        return std::make_unique<ProgramRun>(
            QStringList{"--interview", source, "--headless", "--json", "--language", "en-US", "--verbose"},
            QMap<QString, QString>{{"LC_ALL", "C"}}, home);
    }
    static qsizetype recordings() {
        return control({"list", "short", "source-outputs"}).split(u'\n', Qt::SkipEmptyParts).size();
    }
    /// Of the program's, beside what the machine's own devices record.
    void expectRecordings(qsizetype count) const {
        EXPECT_TRUE(watch->until([&] { return recordings() == idle + count; }, 40'000)) << recordings();
        expectDefaults("mic", "speakers");
    }
    /// Says something in the hearing of a session; the sink is empty for the default output.
    static void speak(const Speech& speech, const QString& sink, ProgramRun& listener) {
        const Speaker speaker(speech.sound, sink);
        EXPECT_TRUE(waitFor([&] { return speaker.isDone(); }, 60'000));
        EXPECT_FALSE(speaker.failed());
        const auto said = wordsOf(speech.text);
        EXPECT_TRUE(waitFor([&] { return wordErrors(said, wordsOf(listener.heardText())) <= said.size() / 5; }, 60'000))
            << listener.heardText() << listener.errors.right(4000).toStdString();
    }

    std::shared_ptr<ProgramHome> home = std::make_shared<ProgramHome>();
    std::unique_ptr<ServerWatch> watch;
    qsizetype idle = 0;
};

ON_EITHER_AUDIO_SERVER(InterviewTest);

TEST_P(InterviewTest, SessionsHearEachItsOwnEndOrderlyAndLeaveNothingWhenKilled) {
    startMachine();
    const auto system = session("system");
    expectRecordings(1);
    const auto microphone = session("microphone");
    expectRecordings(2);
    speak(sampleSpeech(1, 1), {}, *system);
    speak(sampleSpeech(2, 1), "room", *microphone);
    microphone->signal(SIGHUP);
    EXPECT_TRUE(waitFor([&] { return microphone->process.state() == QProcess::NotRunning; }, 20'000));
    EXPECT_EQ(microphone->finish(), 0) << microphone->errors.right(2000).toStdString();
    EXPECT_EQ(microphone->events("ended").size(), 1U);
    EXPECT_TRUE(microphone->events("problem").empty()) << microphone->output.toStdString();
    expectRecordings(1);
    system->signal(SIGKILL);
    expectRecordings(0);
    ProgramRun check({"--check-audio", "--listen"}, {{"LC_ALL", "C"}}, home);
    EXPECT_EQ(check.finish(), 0);
    EXPECT_THAT(check.output.toStdString(),
                AllOf(HasSubstr("Speakers"), HasSubstr("USB Microphone"), HasSubstr("chirp came back")));
    expectRecordings(0);
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
} // namespace parlowen::testing
