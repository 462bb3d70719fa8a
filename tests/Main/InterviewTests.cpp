#include <CoreAudio/PulseAudioServer.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>

#include <QElapsedTimer>
#include <QFile>
#include <iostream>

#include "support/EitherAudioServer.h"
#include "support/ProgramRun.h"
#include "support/ServerSound.h"
#include "support/WordErrorRate.h"

/// Whole sessions of the program on audio servers of their own.
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
                                QStringLiteral("module-remap-source master=speakers.monitor source_name=line "
                                               "source_properties=\"device.description='Line In'\""),
                                QStringLiteral("module-remap-source master=room.monitor source_name=mic "
                                               "source_properties=\"device.description='USB Microphone'\"")};

const QString loopbackInput = QStringLiteral("vorlanOutput.monitor");
const QString multiOutput = QStringLiteral("tqv-Multi-Output_UID");

/// Another program that plays a file, into the default output unless a sink is named.
class Player {
public:
    explicit Player(const QString& file, const QString& sink = {}) {
        endWithParent(process_);
        process_.start(QStringLiteral("paplay"),
                       sink.isEmpty() ? QStringList{file} : QStringList{QStringLiteral("--device=") + sink, file});
    }
    ~Player() {
        process_.kill();
        process_.waitForFinished();
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    bool isDone() const { return process_.state() == QProcess::NotRunning; }

private:
    QProcess process_;
};

/// What the program prints when it is asked for something and ends, with its exit status.
struct Printed {
    int status = -1;
    std::string text;
    std::string log;
};

std::string heardText(ProgramRun& run) {
    std::string heard;
    for (const Event& row : run.events(QStringLiteral("row")))
        heard += row.text.toStdString() + " ";
    return heard;
}

double sampleErrorRate(ProgramRun& run) {
    return wordErrorRate(contents(sampleFolder + QStringLiteral("sample-interview.txt")).toStdString(), heardText(run));
}

/// The sample's rate when it is read from its file, measured once.
double directErrorRate() {
    static const double rate = [] {
        ProgramRun run({"--rehearse", sampleInterview, "--headless", "--json"});
        EXPECT_EQ(run.finish(), 0) << run.errors.toStdString();
        return sampleErrorRate(run);
    }();
    return rate;
}

class InterviewTest : public EitherAudioServer {
protected:
    /// With the loop-back device, and defaults that the user chose: the speakers, and this input.
    void startWithLoopback(const QString& input) {
        ASSERT_NO_FATAL_FAILURE(startServer(wholeMachine));
        const Printed made = print({"--setup-audio"});
        ASSERT_EQ(made.status, 0) << made.text;
        EXPECT_THAT(made.text, HasSubstr("was created"));
        ASSERT_TRUE(waitFor([] {
            const QString sources = control({"list", "short", "sources"});
            return sources.contains("\tline\t") && sources.contains("\tmic\t");
        }));
        control({"set-default-sink", "speakers"});
        control({"set-default-source", input});
        expectDefaults(input, "speakers");
    }

    Printed print(const QStringList& arguments) const {
        ProgramRun run(arguments, {}, home);
        Printed printed;
        printed.status = run.finish(30'000);
        printed.text = run.output.toStdString();
        printed.log = run.errors.toStdString();
        return printed;
    }

    std::unique_ptr<ProgramRun> session(const QString& source) const {
        return std::make_unique<ProgramRun>(
            QStringList{"--interview", source, "--headless", "--json", "--language", "en-US", "--verbose"},
            QMap<QString, QString>{}, home);
    }

    bool isCapturing() const { return control({"list", "source-outputs"}).contains("application.name = \"Parlowen\""); }

    bool waitUntilHearing(ProgramRun& run) const {
        return waitFor([&] { return run.process.state() == QProcess::NotRunning || isCapturing(); }, 40'000) &&
               run.process.state() == QProcess::Running;
    }

    void endOrderly(ProgramRun& run, int number = SIGINT) const {
        run.signal(number);
        EXPECT_EQ(run.finish(20'000), 0) << run.errors.right(2000).toStdString();
        EXPECT_EQ(run.events(QStringLiteral("ended")).size(), 1U);
        EXPECT_TRUE(run.events(QStringLiteral("problem")).empty()) << run.output.toStdString();
    }

    QString journalPath() const { return home->filePath(QStringLiteral("XDG_STATE_HOME/parlowen/audio-devices.json")); }

    std::shared_ptr<ProgramHome> home = std::make_shared<ProgramHome>();
};

ON_EITHER_AUDIO_SERVER(InterviewTest);

TEST_P(InterviewTest, ACallIsHeardThroughTheRouterAsWellAsFromAFile) {
    startWithLoopback("mic");
    const auto run = session("system");
    ASSERT_TRUE(waitUntilHearing(*run)) << run->errors.toStdString();
    ASSERT_TRUE(waitFor([] { return control({"get-default-sink"}) == multiOutput; }));
    EXPECT_EQ(control({"get-default-source"}), loopbackInput);
    Player call(sampleInterview);
    ASSERT_TRUE(waitFor([&call] { return call.isDone(); }, 90'000));
    EXPECT_TRUE(waitFor([&run] { return run->events(QStringLiteral("row")).size() >= 6; }))
        << heardText(*run) << run->errors.right(4000).toStdString();
    endOrderly(*run);
    expectDefaults("mic", "speakers");
    expectNoMultiOutput();
    EXPECT_FALSE(QFile::exists(journalPath()));

    const double routed = sampleErrorRate(*run);
    RecordProperty("direct_word_error_rate_percent", std::to_string(100 * directErrorRate()));
    RecordProperty("routed_word_error_rate_percent", std::to_string(100 * routed));
    std::cout << "word error rate: " << 100 * directErrorRate() << " % direct, " << 100 * routed << " % routed\n";
    EXPECT_LE(routed, directErrorRate() + 0.03) << heardText(*run);
}

/// A moment of a session at which it is killed.
struct KillMoment {
    const char* name;
    std::function<bool(ProgramRun&)> reached;
    bool inputSwitched = true;
    bool outputSwitched = false;
    bool playing = false; ///< needs sound
    bool closing = false; ///< comes after an interrupt, and is soon over
};

class KilledInterviewTest : public InterviewTest {
protected:
    void watch() {
        server_ = std::make_shared<PulseAudioServer>(daemon->address().toStdString());
        devices_ = std::make_unique<SimplyCoreAudio>(server_);
    }

    std::vector<KillMoment> moments() const {
        const auto recorded = [this](const QString& text) {
            return [this, text](ProgramRun&) { return contents(journalPath()).contains(text.toUtf8()); };
        };
        const auto said = [](const char* kind) {
            return [kind](ProgramRun& run) { return !run.events(QLatin1String(kind)).empty(); };
        };
        return {
            {"the session begins", said("started"), false},
            {"the input's change is recorded", recorded("vorlanOutput"), false},
            {"the input is changed",
             [this](ProgramRun&) { return isDefault(&SimplyCoreAudio::defaultInput, "vorlanOutput"); }},
            {"the multi-output device is there", [this](ProgramRun&) { return isThere(multiOutput); }},
            {"the sound is captured", [this](ProgramRun&) { return isCapturing(); }},
            {"the output's change is recorded", recorded(multiOutput)},
            {"the output is changed",
             [this](ProgramRun&) { return isDefault(&SimplyCoreAudio::defaultOutput, multiOutput); }, true, true},
            {"the first words are heard", said("partial"), true, true, true},
            {"the first sentence is heard", said("row"), true, true, true},
            {"the output is given back",
             [this](ProgramRun&) { return isDefault(&SimplyCoreAudio::defaultOutput, "speakers"); }, false, false, true,
             true},
        };
    }

    /// `inTime` tells whether the session was killed before it had given everything back by itself.
    void killAt(const KillMoment& moment, bool& inTime) {
        SCOPED_TRACE(moment.name);
        QElapsedTimer clock;
        clock.start();
        const auto run = session("system");
        std::optional<Player> call;
        if (moment.playing) {
            ASSERT_TRUE(waitUntilHearing(*run)) << run->errors.toStdString();
            ASSERT_TRUE(waitFor([this] { return isDefault(&SimplyCoreAudio::defaultOutput, multiOutput); }));
            call.emplace(sampleInterview);
        }
        if (moment.closing)
            run->signal(SIGINT);
        ASSERT_TRUE(waitFor([&] { return moment.reached(*run); }, 40'000)) << run->errors.toStdString();
        run->signal(SIGKILL);
        std::cout << "killed after " << clock.elapsed() << " ms: " << moment.name << '\n';
        ASSERT_TRUE(run->process.waitForFinished());
        call.reset();
        inTime = !moment.closing || QFile::exists(journalPath());
        if (!inTime) {
            expectDefaults("mic", "speakers");
            expectNoMultiOutput();
            control({"set-default-source", "line"});
            return;
        }
        EXPECT_EQ(run->process.exitStatus(), QProcess::CrashExit);
        if (moment.inputSwitched) {
            EXPECT_EQ(control({"get-default-source"}), loopbackInput) << "nothing would be left to give back";
        }
        if (moment.outputSwitched) {
            EXPECT_EQ(control({"get-default-sink"}), multiOutput);
        }

        const Printed next = print({"--check-audio"});
        EXPECT_EQ(next.status, 0) << next.text;
        if (moment.inputSwitched) {
            EXPECT_THAT(next.log, HasSubstr("已恢复上次异常退出前的默认输入设备"));
        }
        expectDefaults("line", "speakers");
        expectNoMultiOutput();
        EXPECT_FALSE(QFile::exists(journalPath()));
    }

private:
    bool isDefault(std::shared_ptr<AudioDevice> (SimplyCoreAudio::*which)() const, const QString& uid) const {
        const std::shared_ptr<AudioDevice> device = (devices_.get()->*which)();
        return device && device->deviceUID() == uid;
    }
    bool isThere(const QString& uid) const {
        const auto devices = devices_->deviceList();
        return std::any_of(devices.begin(), devices.end(),
                           [&uid](const auto& device) { return device->deviceUID() == uid; });
    }

    std::shared_ptr<PulseAudioServer> server_;
    std::unique_ptr<SimplyCoreAudio> devices_;
};

ON_EITHER_AUDIO_SERVER(KilledInterviewTest);

TEST_P(KilledInterviewTest, TheNextStartGivesTheDevicesBackWheneverItWas) {
    startWithLoopback("line");
    watch();
    for (const KillMoment& moment : moments()) {
        bool inTime = false;
        for (int attempt = 0; attempt < 5 && !inTime; ++attempt)
            ASSERT_NO_FATAL_FAILURE(killAt(moment, inTime));
        EXPECT_TRUE(inTime) << moment.name;
    }
}

TEST_P(InterviewTest, AMicrophoneInterviewHearsTheMicrophoneAndLeavesTheOutputAlone) {
    QTemporaryDir folder;
    startWithLoopback("line");
    const auto run = session("microphone");
    ASSERT_TRUE(waitUntilHearing(*run)) << run->errors.toStdString();
    expectDefaults("mic", "speakers");
    Player voice(shortRecording(folder), "room");
    EXPECT_TRUE(waitFor([&run] { return !run->events(QStringLiteral("row")).empty(); }, 30'000));
    expectNoMultiOutput();
    endOrderly(*run, SIGHUP);
    EXPECT_THAT(run->errors.toStdString(),
                AllOf(HasSubstr("开始面试\n已经授权\n"), HasSubstr("✅ 切换到麦克风输入：USB Microphone")));
    expectDefaults("mic", "speakers");
}

TEST_P(InterviewTest, TheCheckRemovesAMultiOutputDeviceWithoutARecordAndGivesBackWhenItIsInterrupted) {
    startWithLoopback("line");
    control({"load-module", "module-combine-sink", "sink_name=" + multiOutput, "slaves=vorlanOutput,speakers"});
    EXPECT_EQ(print({"--check-audio"}).status, 0);
    expectNoMultiOutput();

    ProgramRun check({"--check-audio", "--listen"}, {}, home);
    ASSERT_TRUE(waitFor([] { return control({"list", "short", "sinks"}).contains(multiOutput); }));
    check.signal(SIGTERM);
    EXPECT_EQ(check.finish(20'000), 1);
    EXPECT_THAT(check.output.toStdString(), HasSubstr("it was interrupted"));
    expectDefaults("line", "speakers");
    expectNoMultiOutput();
    EXPECT_FALSE(QFile::exists(journalPath()));
}

/// A kind of session, the defaults that it needs, and the sink that it is spoken into.
struct SessionKind {
    const char* source;
    QString input, output, spokenInto;
};

TEST_P(InterviewTest, TheTranscriptGoesOnThroughThreeRestartsOfTheServer) {
    QTemporaryDir folder;
    const QString sentence = shortRecording(folder, 6);
    startWithLoopback("line");
    for (const SessionKind& kind : {SessionKind{"system", loopbackInput, multiOutput, {}},
                                    SessionKind{"microphone", "mic", "speakers", "room"}}) {
        SCOPED_TRACE(kind.source);
        const auto run = session(kind.source);
        const auto speak = [&](std::size_t earlier) {
            ASSERT_TRUE(waitFor(
                [&] {
                    return control({"get-default-source"}) == kind.input &&
                           control({"get-default-sink"}) == kind.output;
                },
                40'000))
                << run->errors.right(2000).toStdString();
            ASSERT_TRUE(waitUntilHearing(*run)) << run->errors.right(2000).toStdString();
            const Player voice(sentence, kind.spokenInto);
            if (kind.spokenInto.isEmpty()) {
                EXPECT_GT(recordedLevel(daemon->address(), "speakers.monitor"), 0.001) << "it is heard as well";
            }
            ASSERT_TRUE(waitFor([&] { return run->events(QStringLiteral("row")).size() > earlier; }, 30'000))
                << run->errors.right(2000).toStdString();
            ASSERT_TRUE(waitFor([&voice] { return voice.isDone(); }));
        };
        ASSERT_NO_FATAL_FAILURE(speak(0));
        const std::string first = heardText(*run);
        for (int restart = 1; restart <= 3; ++restart) {
            SCOPED_TRACE(restart);
            const std::size_t rows = run->events(QStringLiteral("row")).size();
            const std::size_t before = heardText(*run).size();
            ASSERT_TRUE(daemon->restart()) << daemon->output().toStdString();
            ASSERT_NO_FATAL_FAILURE(speak(rows));
            const std::string again = heardText(*run).substr(before);
            std::cout << kind.source << ", after restart " << restart << ": " << again << '\n';
            EXPECT_LE(wordErrorRate(first, again), 0.3) << first << again;
        }
        endOrderly(*run);
        EXPECT_GE(QString::fromUtf8(run->errors).count(QStringLiteral("[capture] 声音中断")), 3) << "gaps are marked";
        expectDefaults("mic", "speakers");
        expectNoMultiOutput();
        EXPECT_FALSE(QFile::exists(journalPath()));
    }
}

TEST_P(InterviewTest, WithoutTheDeviceThatItNeedsItSaysSo) {
    startServer(speakersAlone);
    const auto run = session("microphone");
    ASSERT_TRUE(waitUntilHearing(*run)) << run->errors.toStdString();
    endOrderly(*run);
    EXPECT_THAT(run->errors.toStdString(), AllOf(HasSubstr("没有授权麦克风"), HasSubstr("❌ 未找到麦克风设备")));
    const auto warnings = run->events(QStringLiteral("warning"));
    ASSERT_FALSE(warnings.empty());
    EXPECT_THAT(warnings.front().text.toStdString(), HasSubstr("\"Monitor of Speakers\", which gives what is played"));

    const Printed deaf = print({"--interview", "system", "--headless", "--language", "en-US"});
    EXPECT_EQ(deaf.status, 1);
    EXPECT_THAT(deaf.text, HasSubstr("! the call cannot be heard. There is no loop-back device"));
    expectDefaults("speakers.monitor", "speakers");
}

TEST_P(InterviewTest, TheCheckSaysWhatIsMissingAndWhetherSoundArrives) {
    startServer(wholeMachine);
    const Printed bare = print({"--check-audio"});
    EXPECT_EQ(bare.status, 1);
    EXPECT_THAT(bare.text, AllOf(HasSubstr("ok      The audio server answers"),
                                 HasSubstr("problem There is no loop-back device \"vorlanOutput 2ch\".\n"
                                           "        Run 'parlowen --setup-audio'")));
    EXPECT_EQ(print({"--check-audio", "--listen"}).status, 1);
    daemon.reset();

    startWithLoopback("line");
    const Printed again = print({"--setup-audio"});
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.text, HasSubstr("is there already"));
    const Printed whole = print({"--check-audio"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_THAT(whole.text, AllOf(Not(HasSubstr("problem")), HasSubstr("Sound goes to \"Speakers\"."),
                                  HasSubstr("A microphone interview would use \"USB Microphone\".")));
    const Printed listened = print({"--check-audio", "--listen"});
    EXPECT_EQ(listened.status, 0);
    EXPECT_THAT(listened.text, HasSubstr("ok      The chirp arrived on the loop-back input"));
    expectDefaults("line", "speakers");
    expectNoMultiOutput();
}

TEST(AudioCommandsTest, WithoutAServerTheySaySoAtOnce) {
    for (const QStringList& command : {QStringList{"--check-audio"}, QStringList{"--check-audio", "--listen"}}) {
        ProgramRun run(command);
        EXPECT_EQ(run.finish(5'000), 1);
        EXPECT_THAT(run.errors.toStdString(), Not(HasSubstr("Unable to get property")));
        EXPECT_THAT(run.output.toStdString(),
                    AllOf(HasSubstr("problem No audio server answers.\n        Start "), Not(HasSubstr("ok  "))));
    }
    ProgramRun setUp({"--setup-audio"});
    EXPECT_EQ(setUp.finish(10'000), 1);
    EXPECT_THAT(setUp.errors.toStdString(), Not(HasSubstr("Unable to get property")));
    EXPECT_THAT(setUp.output.toStdString(), HasSubstr("no audio server answers"));
}

} // namespace
} // namespace parlowen
