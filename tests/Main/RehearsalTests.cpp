#include "support/ProgramRun.h"
#include "support/ScriptedHttpServer.h"
#include "support/ScriptedSpeechServer.h"
#include "support/Testing.h"
#include "support/WordErrorRate.h"
#include <Foundation/UserDefaults.h>
#include <Network/Settings.h>
#include <QImage>

namespace parlowen::testing {
namespace {

QStringList rehearsal(const QString& file, const QStringList& more = {}) {
    return QStringList{"--rehearse", file, "--headless", "--json"} + more;
}

TEST(RehearsalTest, TranslatesAndKeepsTheStoredSettingsAsTheyAre) {
    QTemporaryDir folder;
    const QString stored = folder.filePath("parlowen/parlowen.ini"), picture = folder.filePath("window.png");
    {
        UserDefaults defaults(stored);
        Settings(defaults).setLoginToken("of another backend");
    }
    const QByteArray before = contents(stored);
    ProgramRun run(
        rehearsal(shortRecording(folder), {"--language", "en-US", "--translate-to", "es", "--screenshot", picture}),
        {{"XDG_CONFIG_HOME", folder.path()}});
    ASSERT_EQ(run.finish(), 0) << run.errors.toStdString() << run.output.toStdString();
    const std::vector<Event> rows = run.events("row");
    ASSERT_FALSE(rows.empty()) << run.errors.toStdString() << run.output.toStdString();
    EXPECT_FALSE(rows.front().translation.isEmpty());
    EXPECT_NE(rows.front().translation, rows.front().text);
    EXPECT_EQ(run.events("answered").size(), rows.size());
    EXPECT_EQ(contents(stored), before);
    EXPECT_EQ(QImage(picture).size(), QSize(1000, 700));
}

TEST(RehearsalTest, WhatCannotBeHeardOrReachedIsRefusedWithPlainWords) {
    QTemporaryDir folder;
    const QString sound = shortRecording(folder, 3);
    const QString closed = ScriptedHttpServer::refusingUrl() + "/api/v1";
    const std::tuple<QString, QString, int, QString> cases[] = {
        {QStringLiteral(PARLOWEN_SOURCE_DIR "/README.md"), "", 2, "README.md"},
        {sound, "nonsense", 2, "PARLOWEN_API_BASE_URL is not the address"},
        {sound, closed, 1, closed}};
    for (const auto& [file, backend, status, says] : cases) {
        ProgramRun run(rehearsal(file), {{"PARLOWEN_API_BASE_URL", backend}});
        EXPECT_EQ(run.finish(), status) << says.toStdString();
        const std::vector<Event> problems = run.events(QStringLiteral("problem"));
        ASSERT_FALSE(problems.empty()) << says.toStdString();
        EXPECT_TRUE(problems.front().text.contains(says)) << problems.front().text.toStdString();
        EXPECT_FALSE(QFile::exists(run.home->filePath(QStringLiteral("XDG_DATA_HOME/parlowen-service"))));
    }
}

TEST(DisplayTest, AWindowWithoutADisplayIsRefused) {
    for (const char* display : {"", ":7777"}) {
        ProgramRun run({}, {{"DISPLAY", display}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}, {"LC_ALL", "C"}});
        EXPECT_EQ(run.finish(), 2) << display;
        EXPECT_TRUE(run.errors.contains("there is no display")) << run.errors.toStdString();
    }
}

TEST(StoredLanguageTest, WhatIsPrintedIsInTheLanguageThatIsStored) {
    const QTemporaryDir folder;
    UserDefaults(folder.filePath("parlowen/parlowen.ini")).setString("uiLanguage", "zh");
    ProgramRun run({"--help"}, {{"XDG_CONFIG_HOME", folder.path()}});
    EXPECT_EQ(run.finish(), 0);
    EXPECT_TRUE(run.output.startsWith("用法")) << run.output.toStdString();
}

/// A backend that signs in whoever asks, whose tokens and answers the test gives, and a speech service that says what
/// the test wants.
struct ScriptedBackendRehearsalTest : ::testing::Test {
    using Reply = ScriptedHttpServer::Reply;

    ScriptedBackendRehearsalTest() {
        for (int i = 0; i < 3; ++i) // the profile and the two lists of languages
            backend_.enqueue(Reply::json(200, R"({"code":0,"message":"","data":[]})"));
    }
    void giveToken() {
        const QString token = QStringLiteral(R"({"code":0,"data":{"token":"t","area":"%1"}})").arg(speech_.area());
        backend_.enqueue(Reply::json(200, token.toUtf8()));
    }
    void start(const QStringList& more = {}) { run(rehearsal(shortRecording(folder_, 3), more), backend_); }
    /// With a sign-in to that backend.
    void run(const QStringList& arguments, const ScriptedHttpServer& backend) {
        UserDefaults defaults(folder_.filePath("parlowen/parlowen.ini"));
        Settings settings(defaults);
        settings.useBackend(backend.baseUrl() + "/api/v1", false);
        settings.setLoginToken("token");
        settings.synchronize();
        run_ = std::make_unique<ProgramRun>(
            arguments, QMap<QString, QString>{{"PARLOWEN_API_BASE_URL", backend.baseUrl() + "/api/v1"},
                                              {"XDG_CONFIG_HOME", folder_.path()},
                                              {"LC_ALL", "C"}});
    }
    void say(const std::string& sentence) {
        ASSERT_TRUE(
            waitFor([&] { return !speech_.sessions.empty() && !speech_.sessions.back()->turns.empty(); }, 30'000));
        speech_.sessions.back()->send("speech.phrase",
                                      R"({"RecognitionStatus":"Success","Offset":0,"Duration":0,"DisplayText":")" +
                                          sentence + "\"}");
    }
    int exitCode() {
        EXPECT_TRUE(waitFor([this] { return run_->process.state() == QProcess::NotRunning; }, 90'000));
        return run_->process.exitCode();
    }
    std::string problem() {
        const std::vector<Event> problems = run_->events(QStringLiteral("problem"));
        EXPECT_EQ(problems.size(), 1U) << run_->output.toStdString();
        return problems.empty() ? std::string() : problems.front().text.toStdString();
    }

    QTemporaryDir folder_;
    ScriptedHttpServer backend_;
    ScriptedSpeechServer speech_;
    std::unique_ptr<ProgramRun> run_;
};

TEST_F(ScriptedBackendRehearsalTest, ATokenThatIsRefusedIsAskedForAgainAndToldOnce) {
    backend_.enqueue(Reply::json(200, R"({"code":9,"message":"没有令牌","data":null})"));
    start();
    ASSERT_TRUE(waitFor([this] { return backend_.requests().size() >= 3U + 6U; }, 30'000));
    run_->signal(SIGINT);
    EXPECT_EQ(exitCode(), 1);
    EXPECT_EQ(problem(), "没有令牌");
}

TEST_F(ScriptedBackendRehearsalTest, TheCheckOfAnswersAsksOnceAndSaysHowLongItTook) {
    ScriptedHttpServer backend;
    const auto check = [&](Reply answer) {
        backend.enqueue(Reply::json(200, R"({"code":0,"message":"","data":{}})"));
        backend.enqueue(std::move(answer));
        run({"--check-answers"}, backend);
        const int status = exitCode();
        run_->read();
        return std::to_string(status) + " " + run_->output.toStdString();
    };
    const auto piece = [](const QByteArray& text) { return R"(data: {"data":{"content":")" + text + "\"}}\n"; };
    EXPECT_THAT(check(Reply::json(200, piece("My ") + piece("team") + piece("@@"))),
                ::testing::MatchesRegex("0 What do .*\n\nMy team\n\nfirst piece after [0-9]+ ms, the whole "
                                        "answer after [0-9]+ ms\n"));
    EXPECT_THAT(check(Reply::json(200, piece("My ") + ": failed\n\n" + piece("(no)") + piece("@@"))),
                ::testing::MatchesRegex("1 What do .*\n\nMy \\(no\\)\n\nthe language model failed\n"));
    EXPECT_THAT(check(Reply::json(500, R"({"code":1,"message":"broken"})")),
                ::testing::MatchesRegex("1 What do .*HTTP 500: broken.*"));
}

TEST_F(ScriptedBackendRehearsalTest, AnswersThatFailAreSaidAndShowInTheExitStatus) {
    giveToken();
    backend_.enqueue(Reply::json(500, R"({"code":1,"message":"坏了"})"));
    start();
    say("Why?");
    EXPECT_EQ(exitCode(), 3);
    EXPECT_EQ(problem(), "answer 1 failed: the backend failed (HTTP 500: 坏了)");
    EXPECT_TRUE(run_->events(QStringLiteral("answered")).empty());
    EXPECT_THAT(run_->errors.toStdString(),
                ::testing::HasSubstr("parlowen: answer 1 failed: the backend failed (HTTP 500: 坏了)\n"));
}

TEST_F(ScriptedBackendRehearsalTest, ManualQuestionsAreAskedTogetherAtTheEnd) {
    giveToken();
    backend_.enqueue({Reply::eventStream().bytes + "20\r\ndata: {\"data\":{\"content\":\"@@\"}}\n\r\n0\r\n\r\n"});
    start({"--manual"});
    say("One.");
    say("Two.");
    EXPECT_EQ(exitCode(), 0) << run_->errors.toStdString();
    const std::vector<Event> questions = run_->events(QStringLiteral("question"));
    ASSERT_EQ(questions.size(), 1U);
    EXPECT_EQ(questions.front().text, "\nOne.\nTwo.");
    EXPECT_EQ(run_->events(QStringLiteral("answered")).size(), 1U);
}

TEST_F(ScriptedBackendRehearsalTest, AServiceThatDoesNotTakeTheLanguageEndsIt) {
    speech_.onSession = [](SpeechSessionSeen& session) { session.close(1007, QStringLiteral("offered are en-US")); };
    giveToken();
    start();
    EXPECT_EQ(exitCode(), 1);
    EXPECT_THAT(problem(), ::testing::HasSubstr("offered are en-US"));
}

TEST(RehearsalTest, OutputThatCannotBeWrittenIsTold) {
    // The one who reads along leaves long before that is over.
    QTemporaryDir folder;
    const QString file = shortRecording(folder, 1200);
    for (const auto& [command, error] :
         {std::pair("\"$0\" --version >/dev/full", "No space left on device"),
          {"set -o pipefail; \"$0\" --rehearse \"$1\" --headless | head -1", "Broken pipe"}}) {
        const ProgramHome home;
        QProcess shell;
        shell.setProcessEnvironment(home.environment());
        shell.start(QStringLiteral("bash"), {QStringLiteral("-c"), command, parlowenProgram, file});
        ASSERT_TRUE(shell.waitForFinished(120'000));
        EXPECT_EQ(shell.exitCode(), 1) << command;
        EXPECT_THAT(shell.readAllStandardError().toStdString(), ::testing::HasSubstr(error));
    }
}

bool waitForEvent(ProgramRun& run, const char* kind) {
    return waitFor([&] { return run.process.waitForReadyRead(50), !run.events(QLatin1String(kind)).empty(); }, 90'000);
}

pid_t serviceOf(const ProgramRun& run) {
    return contents(QStringLiteral("/proc/%1/task/%1/children").arg(run.process.processId()))
        .split(' ')
        .constFirst()
        .toInt();
}

TEST(RehearsalTest, AnInterruptPutsEverythingAwayAndAKillLeavesNoServiceBehind) {
    QTemporaryDir folder;
    const QString file = shortRecording(folder, 1200); // it does not end by itself
    ProgramRun polite(rehearsal(file));
    ASSERT_TRUE(waitForEvent(polite, "partial")) << polite.errors.toStdString();
    polite.signal(SIGTERM);
    EXPECT_EQ(polite.finish(), 0);
    EXPECT_EQ(polite.events(QStringLiteral("ended")).size(), 1U);
    ProgramRun killed(rehearsal(file));
    ASSERT_TRUE(waitForEvent(killed, "partial")) << killed.errors.toStdString();
    const pid_t child = serviceOf(killed);
    ASSERT_GT(child, 0);
    killed.process.kill();
    killed.process.waitForFinished();
    EXPECT_TRUE(waitFor([&child] {
        const QByteArray state = contents(QStringLiteral("/proc/%1/stat").arg(child));
        return state.isEmpty() || state.contains(") Z ");
    })) << "the service outlives the application";
}

} // namespace
} // namespace parlowen::testing
