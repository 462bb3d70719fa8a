#include "CallTrial.h"

#include "ServerDump.h"

#include "support/PrivateAudioServer.h"
#include "support/WordErrorRate.h"

#include <QRegularExpression>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace parlowen::trial {

using namespace ::parlowen::testing;

namespace {

constexpr double wordsASecond = 2.5;
// Behind what happens, for a second look or a reconnect.
constexpr int chipMilliseconds = 12'000;
constexpr double cutWords = 3; // of an interruption

/// What a run has told in events of a kind, in order.
QStringList told(ProgramRun& run, const char* kind) {
    QStringList texts;
    for (const Event& event : run.events(QLatin1String(kind)))
        texts << event.text;
    return texts;
}

/// Seconds of the call that the transcript says were not heard.
int missedSeconds(ProgramRun& run) {
    int seconds = 0;
    for (const Event& event : run.events(QStringLiteral("missed")))
        seconds += event.seconds;
    return seconds;
}

/// What a window may stand still for before one notices.
constexpr int mostMilliseconds = 50;

/// How long the program's main thread stood still at the most, in milliseconds, as it says at its end.
int longestStop(const ProgramRun& run) {
    const QString log = QString::fromUtf8(run.errors);
    static const QRegularExpression words(QStringLiteral("主线程最长停顿：(\\d+) 毫秒"));
    const QRegularExpressionMatch match = words.match(log);
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

} // namespace

CallTrial::CallTrial(const std::string& server, const Row& row, bool withProgram)
    : row_(row)
    , withProgram_(withProgram)
    , isPulseAudio_(server == "PulseAudio")
    , server_(std::make_unique<PrivateAudioServer>(server, row.machine)) {}

void CallTrial::run() {
    ASSERT_TRUE(server_->isReady()) << server_->output().toStdString();
    chooseDefaults();
    if (withProgram_) {
        ASSERT_NO_FATAL_FAILURE(startSessions());
    } else if (isPulseAudio_) {
        // An output that is recorded is not idle: PulseAudio leaves it its rate when something plays into it.
        endWithParent(standIn_);
        standIn_.setStandardOutputFile(QProcess::nullDevice());
        standIn_.start(QStringLiteral("parec"), {"--device=@DEFAULT_MONITOR@"});
    }
    int number = 0;
    for (const Step& step : row_.steps) {
        SCOPED_TRACE("step " + std::to_string(++number));
        step.act(*this);
        if (step.seconds == 0 || !withProgram_)
            untilSaid();
        else
            wait(step.seconds);
        if (withProgram_ && !step.chip.isEmpty())
            expectChip(step.chip);
    }
    speakers_.clear();
    endSessions();
    standIn_.kill();
    standIn_.waitForFinished();
    // The session manager may still be at work on what the hand did.
    ServerWatch().untilQuiet();
    dump_ = dumpServer();
    EXPECT_TRUE(applicationStreams().isEmpty());
}

void CallTrial::startSessions() {
    QMap<QString, QString> variables{{"LC_ALL", "C"}};
    if (row_.overNetwork) {
        network_ = std::make_unique<SpeechNetwork>(*home_);
        variables.insert(QStringLiteral("PARLOWEN_API_BASE_URL"), network_->baseUrl());
    }
    for (const QString& source : row_.sessions) {
        Session& session = sessions_.emplace_back();
        session.run = std::make_unique<ProgramRun>(
            QStringList{"--interview", source, "--headless", "--json", "--language", "en-US", "--verbose"}, variables,
            home_);
    }
    const auto hear = [this] {
        return row_.sessions.filter("app:").isEmpty() ? applicationStreams().size() == row_.sessions.size()
                                                      : !chipOf(sessions_.front()).isEmpty();
    };
    ASSERT_TRUE(ServerWatch().until(hear, 40'000))
        << sessions_.back().run->output.toStdString() << sessions_.back().run->errors.right(2000).toStdString();
}

QString CallTrial::chipOf(Session& session) {
    const QStringList all = told(*session.run, "status");
    return all.isEmpty() ? QString() : all.constLast();
}

void CallTrial::untilSaid() {
    for (const auto& speaker : speakers_) {
        EXPECT_TRUE(waitFor([&speaker] { return speaker->isDone(); }, 200'000));
        EXPECT_FALSE(speaker->failed());
    }
    speakers_.clear();
}

// A moment later: what is captured and recognised is behind what is said.
void CallTrial::expectChip(const QString& pattern) {
    const QRegularExpression wanted(pattern);
    for (Session& session : sessions_)
        EXPECT_TRUE(!chipOf(session).isEmpty() &&
                    waitFor([&] { return chipOf(session).contains(wanted); }, chipMilliseconds))
            << "wanted: " << pattern.toStdString() << "\nlast said: " << chipOf(session).toStdString();
}

void CallTrial::endSessions() {
    for (Session& session : sessions_) {
        ProgramRun& run = *session.run;
        // The last sentence is said; what is kept is made up for.
        const auto written = [&run] { return run.events().size() - run.events(QStringLiteral("status")).size(); };
        std::size_t count = 0;
        for (int changes = 0; changes < 300 && written() > count; ++changes) {
            count = written();
            waitFor([&] { return written() > count; }, 6'000);
        }
        EXPECT_EQ(run.process.state(), QProcess::Running) << "it ended by itself";
        run.signal(SIGINT);
        EXPECT_EQ(run.finish(20'000), 0) << run.errors.right(3000).toStdString();
        EXPECT_EQ(told(run, "problem").join(u'\n').toStdString(), "");
        expectTranscript(session);
    }
}

void CallTrial::expectTranscript(Session& session) const {
    const auto said = wordsOf(session.said), heard = wordsOf(session.run->heardText());
    const int missed = missedSeconds(*session.run);
    const double gaps = row_.lostSeconds + missed;
    const double allowed =
        std::ceil(row_.errorShare * static_cast<double>(said.size())) + (gaps > 0 ? cutWords + wordsASecond * gaps : 0);
    EXPECT_LE(static_cast<double>(wordErrors(said, heard)), allowed) << session.run->heardText();
    EXPECT_LE(missed, row_.missedSeconds);
    EXPECT_LE(longestStop(*session.run), row_.stopsProgram ? 60'000 : mostMilliseconds);
}

std::string CallTrial::report() {
    std::ostringstream text;
    static const QRegularExpression number(QStringLiteral("\\d+"));
    for (Session& session : sessions_) {
        const auto said = wordsOf(session.said);
        QStringList chips = told(*session.run, "status").replaceInStrings(number, QStringLiteral("N"));
        chips.erase(std::unique(chips.begin(), chips.end()), chips.end());
        text << std::setw(4) << said.size() << " said " << std::setw(4)
             << wordErrors(said, wordsOf(session.run->heardText())) << " errors " << std::setw(3)
             << missedSeconds(*session.run) << " s missed " << std::setw(3) << longestStop(*session.run)
             << " ms stop | " << chips.join(QStringLiteral(" → ")).toStdString() << '\n';
    }
    return text.str();
}

void CallTrial::speak(int lines, const Voice& voice) {
    if (!withProgram_) {
        speakers_.push_back(std::make_unique<Speaker>(sampleSpeech(0, 1).sound.left(32'000), voice.sink));
        return;
    }
    Speech speech = sampleSpeech(3, lines); // whoever is not to be heard says something else
    if (voice.session >= 0) {
        Session& session = sessions_[static_cast<std::size_t>(voice.session)];
        speech = sampleSpeech(session.nextLine, lines);
        session.nextLine += lines;
        session.said += speech.text;
    }
    speakers_.push_back(std::make_unique<Speaker>(speech.sound, voice.sink, voice.program));
}

void CallTrial::moveCallTo(const QString& sink) const {
    for (const QString& stream : control({"list", "short", "sink-inputs"}).split(u'\n', Qt::SkipEmptyParts))
        control({"move-sink-input", stream.section(u'\t', 0, 0), sink});
}

void CallTrial::chooseDefaults() const {
    for (const auto& [kind, name] : {std::pair("sink", "speakers"), std::pair("source", "mic")}) {
        const QString list = QString::fromLatin1("%1s").arg(kind), command = QStringLiteral("set-default-%1").arg(kind);
        if (!row_.machine.filter(QStringLiteral("%1_name=%2 ").arg(kind, name)).isEmpty() && ServerWatch().until([&] {
                return control({"list", "short", list}).contains(QString("\t%1\t").arg(name));
            }))
            control({command, name});
    }
}

void CallTrial::unloadSink(const QString& name) const {
    for (const QString& module : control({"list", "short", "modules"}).split(u'\n'))
        if (module.contains(QStringLiteral("sink_name=%1 ").arg(name)))
            control({"unload-module", module.section(u'\t', 0, 0)});
}

void CallTrial::wait(int seconds) const {
    if (withProgram_)
        waitFor([] { return false; }, 1'000 * seconds);
}

void CallTrial::signalPrograms(int number) const {
    for (const Session& session : sessions_)
        session.run->signal(number);
}

void CallTrial::killLocalService() const {
    for (const Session& session : sessions_) {
        const qint64 program = session.run->process.processId();
        const pid_t service = contents(QStringLiteral("/proc/%1/task/%1/children").arg(program)).split(' ')[0].toInt();
        ASSERT_GT(service, 0);
        ::kill(service, SIGKILL);
    }
}

void CallTrial::cutNetwork(int seconds, bool silently) const {
    if (!network_)
        return;
    FaultProxy& network = network_->network();
    const auto set = silently ? &FaultProxy::hold : &FaultProxy::refuse;
    (network.*set)(true);
    wait(seconds);
    (network.*set)(false);
}

void CallTrial::refuseToken() const {
    if (network_)
        network_->forgetTokens();
}

namespace {

class CallTrialTest : public ::testing::TestWithParam<std::tuple<const char*, Row>> {};

TEST_P(CallTrialTest, Row) {
    const auto& [server, row] = GetParam();
    CallTrial trial(server, row, true);
    trial.run();
    std::cout << std::left << std::setw(26) << row.name << std::setw(11) << server << std::right << trial.report()
              << std::flush;
    if (HasFatalFailure())
        return;
    CallTrial alone(server, row, false);
    alone.run();
    EXPECT_EQ(differences(alone.dump(), trial.dump()), "") << "the user's devices, without and with the program";
}

INSTANTIATE_TEST_SUITE_P(On, CallTrialTest,
                         ::testing::Combine(::testing::Values("PulseAudio", "PipeWire"), ::testing::ValuesIn(rows())),
                         [](const auto& parameter) {
                             return std::string(std::get<Row>(parameter.param).name) + "_" +
                                    std::get<const char*>(parameter.param);
                         });

} // namespace
} // namespace parlowen::trial
