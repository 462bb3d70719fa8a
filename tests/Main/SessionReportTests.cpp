#include "support/TemporaryDirectory.h"
#include "support/Testing.h"
#include <Foundation/ChosenLanguage.h>
#include <Main/CommandLine.h>
#include <Main/Pages.h>
#include <Main/SessionEnding.h>
#include <Main/SessionReport.h>
#include <Main/SessionSettings.h>
#include <Main/UnixSignals.h>
#include <QtCore>
#include <csignal>
#include <numeric>
#include <support/WaitFor.h>

namespace parlowen::testing {
namespace {

struct SessionReportTest : ::testing::Test {
    SessionReport::Write write = [this](const QByteArray& line) { lines.push_back(line.toStdString()); };
    SessionReport::Clock clock = [this] { return seconds; };
    /// The lines that are written of these events.
    std::vector<std::string> told(SessionReport& report, const std::vector<SessionEvent>& events) {
        lines.clear();
        for (const SessionEvent& event : events)
            report.tell(event);
        return lines;
    }
    static AnswerEnd failed() { return {AnswerEnd::Outcome::Failed, AnswerEnd::Cause::BrokenOff, {}}; }
    double seconds = 0;
    std::vector<std::string> lines;
};

TEST_F(SessionReportTest, TextWritesTheLinesOfAnswersAsSoonAsTheyAreWholeAndKeepsThemApart) {
    TextReport report(write, clock);
    seconds = 65.4;
    KXTranslationHistoryDetailsModel row;
    row.sourceText = "Why us?";
    row.resultText = "¿Por qué nosotros?";
    using namespace session;
    EXPECT_THAT(told(report, {Sentence{1, row}, Question{1, "Why us?"}, AnswerPiece{1, "First li"}}),
                ElementsAre("\n[01:05] 1: Why us?\n", "        → ¿Por qué nosotros?\n"));
    EXPECT_THAT(told(report, {AnswerPiece{1, "ne\nSecond\nThi"}, AnswerPiece{2, "two\n"}, AnswerPiece{1, "rd"}}),
                ElementsAre("    1 | First line\n", "    1 | Second\n", "    2 | two\n"));
    EXPECT_THAT(told(report, {AnswerEnded{2, {}}, AnswerGrounds{1, {"Led a team."}}, AnswerEnded{1, failed()}}),
                ElementsAre("    1 | Third\n", "    1 ← Led a team.\n"));
}

TEST_F(SessionReportTest, JsonPiecesJoinToTheAnswerAndOneThatFailedIsNotAnswered) {
    JsonReport report(write, clock);
    seconds = 1.23456;
    using namespace session;
    const auto written = told(report, {Question{3, "q \"quoted\"\n"}, AnswerPiece{3, "你"}, AnswerPiece{3, "好"},
                                       AnswerGrounds{3, {"甲", "乙"}}, AnswerEnded{3, {}}, AnswerEnded{4, failed()}});
    EXPECT_EQ(std::accumulate(written.begin(), written.end(), std::string()),
              R"({"kind":"question","row":3,"text":"q \"quoted\"\n","time":1.235}
{"kind":"answer","row":3,"text":"你","time":1.235}
{"kind":"answer","row":3,"text":"好","time":1.235}
{"kind":"grounds","lines":["甲","乙"],"row":3,"time":1.235}
{"kind":"answered","row":3,"text":"你好","time":1.235}
{"kind":"unanswered","outcome":"failed","row":4,"text":"","time":1.235}
)");
}

TEST_F(SessionReportTest, WhatWasNotHeardIsToldInTheLanguageOfTheTerminal) {
    seconds = 61;
    TextReport(write, clock, Language::English).tell(session::Missed{12});
    TextReport(write, clock, Language::Chinese).tell(session::Missed{12});
    JsonReport(write, clock).tell(session::Missed{12});
    EXPECT_THAT(lines, ElementsAre("\n[01:01] … 12 s not heard …\n", "\n[01:01] … 12 s 未听到 …\n",
                                   "{\"kind\":\"missed\",\"seconds\":12,\"time\":61}\n"));
}

using Action = CommandLine::Action;

CommandLine parse(QStringList arguments) {
    arguments.prepend(QStringLiteral("parlowen"));
    return parseCommandLine(arguments);
}

TEST(CommandLineTest, ReadsWhatIsAskedFor) {
    const CommandLine line =
        parse({"--rehearse", "a b.wav", "--headless", "--json", "--manual", "--verbose", "--language", "en-US",
               "--translate-to=es", "--screenshot", "p.png", "--backend", "https://b/v1"});
    EXPECT_EQ(line.action, Action::Rehearse);
    EXPECT_TRUE(line.headless && line.json && line.manual && line.verbose);
    EXPECT_EQ((QStringList{line.file, line.language, line.translateTo, line.screenshot, line.backend}),
              (QStringList{"a b.wav", "en-US", "es", "p.png", "https://b/v1"}));
    const CommandLine plain = parse({"--interview", "app: Firefox"});
    EXPECT_EQ(plain.action, Action::Interview);
    EXPECT_EQ(plain.application, "Firefox");
    EXPECT_TRUE(plain.systemAudio && parse({"--interview", "system"}).systemAudio);
    EXPECT_FALSE(plain.headless || plain.json || plain.manual || parse({"--interview", "microphone"}).systemAudio);
    EXPECT_EQ(parse({"--check-audio"}).action, Action::CheckAudio);
    EXPECT_EQ(parse({}).action, Action::Shell);
    EXPECT_EQ(parse({"--page", "account"}).pageIndex(), accountPage);
    EXPECT_FALSE(parse({"--start", "rehearsal"}).pageIndex());
    EXPECT_EQ(parse({"--start", "rehearsal"}).start, CommandLine::Start::Rehearsal);
    EXPECT_EQ(parse({"--start", "interview"}).start, CommandLine::Start::Interview);
    EXPECT_EQ(parse({"--check-answers", "--backend", "https://b/v1"}).action, Action::CheckAnswers);
    EXPECT_TRUE(parse({"--check-audio", "--listen"}).listen && !parse({"--check-audio"}).listen);
    EXPECT_EQ(parse({"--version"}).action, Action::Print);
    EXPECT_TRUE(parse({"--version"}).message.contains(QRegularExpression("^parlowen \\d+\\.\\d+\\.\\d+\n$")));
}

TEST(CommandLineTest, TheLanguageThatIsChosenHoldsAtOnce) {
    EXPECT_TRUE(parse({"--ui-language", "zh", "--help"}).message.startsWith("用法"));
    EXPECT_EQ(windowLanguage(), Language::Chinese);
    EXPECT_TRUE(parse({"--rehearse", "", "--ui-language=en"}).message.contains("needs the name"));
    EXPECT_EQ(windowLanguage(), Language::English);
    chooseLanguage(std::nullopt);
    EXPECT_EQ(windowLanguage(), Language::Chinese);
}

TEST(CommandLineTest, RefusesWhatItDoesNotKnowAndSaysWhatInTheTerminalsLanguage) {
    const std::vector<std::pair<QStringList, QString>> cases{
        {{"--rehearse"}, "--rehearse needs a value"},
        {{"--rehearse", ""}, "--rehearse needs the name of a file"},
        {{"--rehearse", "a.wav", "b.wav"}, "b.wav"},
        {{"--rehearse", "a.wav", "--loud"}, "no option 'loud'"},
        {{"--check-audio=loud"}, "--check-audio takes no value"},
        {{"--interview", "loud"}, "not 'loud'"},
        {{"--ui-language", "fr"}, "not 'fr'"},
        {{"--check-audio", "--backend", "https://b"}, "--backend goes with"},
        {{"--page", "setup", "--backend", "nonsense"}, "--backend is not the address of a backend"},
        {{"--page", "attic"}, "setup, "},
        {{"--start", "over"}, "not 'over'"},
        {{"--page", "setup", "--manual"}, "--manual"},
        {{"--interview", "system", "--rehearse", "a.wav"}, "--interview"},
        {{"--rehearse", "a.wav", "--listen"}, "--check-audio"},
    };
    for (const auto& [arguments, words] : cases) {
        const CommandLine line = parse(arguments);
        EXPECT_EQ(line.action, Action::Refuse) << arguments.join(' ').toStdString();
        EXPECT_TRUE(line.message.contains(words)) << line.message.toStdString();
    }
    qputenv("LC_ALL", "zh_CN.UTF-8");
    EXPECT_TRUE(parse({"--rehearse", "a.wav", "--language"}).message.contains("--language 需要一个值"));
    EXPECT_TRUE(parse({"--loud"}).message.contains("没有“loud”这个选项"));
    qunsetenv("LC_ALL");
}

TEST(UnixSignals, AHangUpThatIsIgnoredStaysSo) {
    std::signal(SIGHUP, SIG_IGN);
    {
        const UnixSignals signals([] {});
        EXPECT_EQ(std::signal(SIGHUP, SIG_IGN), SIG_IGN);
    }
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

const LanguageListModel english{135, "英语（美国）", "en-US", "en", "Y"};
const LanguageListModel chinese{128, "中文（简体）", "zh-CN", "zh-Hans", "Z"};
const LanguageListModel spanish{200, "西班牙语", "es-ES", "es", "X"};

struct SessionSettingsTest : ::testing::Test {
    void SetUp() override { QFile::remove(UserDefaults::defaultPath()); }
    static void store(const AIInterviewModel& model) {
        UserDefaults defaults;
        Settings(defaults).setAiInterviewSetModel(model);
    }
    static std::string storedFile() { return contentsOf(UserDefaults::defaultPath().toStdString()); }
    static AIInterviewModel chef() {
        AIInterviewModel model;
        model.positioname = "Chef";
        return model;
    }
};

TEST_F(SessionSettingsTest, CommandLineStandsInAndTheStoredFileStaysAsItWas) {
    {
        UserDefaults defaults;
        Settings stored(defaults);
        stored.setLoginToken("token");
        stored.setAiInterviewType(1);
        stored.setAiLangChinaModel(chinese);
    }
    store(chef());
    const std::string before = storedFile();
    ASSERT_NE(before, "");

    SessionSettings plain;
    plain.applyLanguages({}, {english}, {spanish});
    EXPECT_EQ(plain.settings().aiLangChinaModel(), chinese) << "a stored language counts more than an offered one";
    plain.settings().setAiLangChinaModel(std::nullopt);
    plain.applyLanguages({}, {english}, {spanish});
    EXPECT_EQ(plain.settings().aiLangChinaModel(), english);

    SessionSettings rehearsal;
    CommandLine line;
    line.language = "en-us";
    line.translateTo = "es";
    line.manual = true;
    rehearsal.applyAnswers(line);
    rehearsal.applyLanguages(line, {english}, {spanish});
    rehearsal.settings().setLoginToken("another");
    rehearsal.settings().clearRejectedSignIn();
    EXPECT_EQ(rehearsal.settings().aiInterviewType(), 2);
    EXPECT_EQ(rehearsal.settings().aiLangLeftModel(), english);
    EXPECT_EQ(rehearsal.settings().aiLangRightModel(), spanish);
    EXPECT_EQ(rehearsal.settings().aiInterviewSetModel()->antoAnswerType, 1);
    EXPECT_EQ(rehearsal.settings().aiInterviewSetModel()->positioname, "Chef");
    EXPECT_EQ(storedFile(), before);

    line.headless = true;
    line.manual = false;
    rehearsal.applyAnswers(line);
    EXPECT_EQ(rehearsal.settings().aiInterviewSetModel()->antoAnswerType, 0) << "without a window nobody could ask";
    line.language = "fr-FR";
    line.translateTo.clear();
    rehearsal.applyLanguages(line, {english}, {spanish});
    EXPECT_EQ(rehearsal.settings().aiLangChinaModel()->original_key, "fr-FR") << "the service says what it offers";
}

TEST_F(SessionSettingsTest, AnInterviewKeepsTheLooksThatWereSetInItsWindow) {
    AIInterviewModel model = chef();
    store(model);
    SessionSettings session;
    CommandLine line;
    line.manual = true;
    session.applyAnswers(line);
    const std::string before = storedFile();
    session.storeLooks();
    EXPECT_EQ(storedFile(), before) << "nothing was changed in the window";
    model.answerFontSize = 24; // another program
    store(model);
    session.settings().setSessionWindowOpacity(90);
    session.storeLooks();
    UserDefaults defaults;
    const Settings stored(defaults);
    EXPECT_EQ(stored.aiInterviewSetModel(), model) << "a size that was not changed stays";
    EXPECT_EQ(stored.sessionWindowOpacity(), 90);
    AIInterviewModel grown = *session.settings().aiInterviewSetModel();
    grown.answerFontSize = 20;
    session.settings().setAiInterviewSetModel(grown);
    session.storeLooks();
    model.answerFontSize = 20;
    EXPECT_EQ(stored.aiInterviewSetModel(), model) << "the size alone, not what the command line asked for";
    SessionSettings later;
    later.applyAnswers(line);
    {
        UserDefaults another;
        Settings(another).setSessionWindowOpacity(70);
    }
    grown.answerFontSize = 22;
    later.settings().setAiInterviewSetModel(grown);
    later.storeLooks();
    EXPECT_EQ(stored.sessionWindowOpacity(), 70) << "nor a ground that was not changed";
}

TEST_F(SessionSettingsTest, GarbageInTheStoredFileIsSaidAndLeftAlone) {
    const QString path = UserDefaults::defaultPath();
    QDir().mkpath(QFileInfo(path).path());
    const std::string garbage("\x00\xff no settings [\n", 17);
    writeFile(path.toStdString(), garbage);
    SessionSettings rehearsal;
    rehearsal.applyAnswers({});
    ASSERT_FALSE(rehearsal.stored());
    EXPECT_TRUE(rehearsal.stored().error().contains(path)) << rehearsal.stored().error().toStdString();
    EXPECT_TRUE(rehearsal.settings().aiInterviewSetModel());
    EXPECT_EQ(storedFile(), garbage);
}

TEST(SessionEndingTest, AnAnswerThatGrowsIsWaitedForWhenTheSoundIsOver) {
    const SessionStatus status;
    SessionEnding ending(status);
    int settled = 0;
    QObject::connect(&ending, &SessionEnding::settled, [&settled] { ++settled; });
    KXTranslationHistoryDetailsModel row;
    row.sourceText = "Tell me";
    ending.note(session::Partial{1, row});
    ending.note(session::Sentence{1, {}});
    ending.note(session::Question{1, "Why?"});
    ending.soundEnded();
    SessionEnding begun(status); // a sentence that has begun is waited for as well
    QObject::connect(&begun, &SessionEnding::settled, [&settled] { ++settled; });
    begun.note(session::Partial{1, row});
    begun.soundEnded();
    EXPECT_TRUE(holdsFor([&settled] { return settled == 0; }, 4'500)) << "longer than for a quiet end";
    ending.note(session::AnswerEnded{1, {}});
    EXPECT_TRUE(waitFor([&settled] { return settled == 1; }));
}

TEST(SessionEndingTest, RecognitionThatComesAndGoesIsNotWaitedForForEver) {
    using State = RecognitionStatus::State;
    SessionStatus status;
    SessionEnding ending(status, std::chrono::milliseconds(500));
    int settled = 0;
    QObject::connect(&ending, &SessionEnding::settled, [&settled] { ++settled; });
    ending.soundEnded();
    EXPECT_TRUE(waitFor([&] {
        const bool wasThere = status.recognition().state == State::Recognizing;
        status.setRecognition({wasThere ? State::Reconnecting : State::Recognizing, {}, {}, 1});
        ending.note(session::Missed{1});
        return settled > 0;
    }));
    ending.note(session::Partial{1, {}});
    settled = 0;
    status.setRecognition({State::Finished, {}, {}, 0});
    EXPECT_TRUE(waitFor([&settled] { return settled > 0; }, 400)) << "at once where all is recognised";
}

} // namespace
} // namespace parlowen::testing
