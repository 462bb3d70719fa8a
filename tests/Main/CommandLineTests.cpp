#include <Main/CommandLine.h>
#include <gmock/gmock.h>

#include <QRegularExpression>

namespace parlowen {
namespace {

using Action = CommandLine::Action;

CommandLine parse(QStringList arguments) {
    arguments.prepend(QStringLiteral("parlowen"));
    return parseCommandLine(arguments);
}

TEST(CommandLineTest, ReadsEveryOptionOfARehearsal) {
    const CommandLine line = parse({"--rehearse", "a b.wav", "--headless", "--json", "--manual", "--language", "en-US",
                                    "--translate-to=es", "--screenshot", "p.png"});
    EXPECT_EQ(line.action, Action::Rehearse);
    EXPECT_EQ(line.file, "a b.wav");
    EXPECT_TRUE(line.headless && line.json && line.manual);
    EXPECT_EQ(line.language, "en-US");
    EXPECT_EQ(line.translateTo, "es");
    EXPECT_EQ(line.screenshot, "p.png");

    const CommandLine plain = parse({"--rehearse", "x.flac"});
    EXPECT_FALSE(plain.headless || plain.json || plain.manual);
    EXPECT_TRUE(plain.language.isEmpty() && plain.translateTo.isEmpty() && plain.screenshot.isEmpty());
}

TEST(CommandLineTest, RefusesWhatItDoesNotKnowAndSaysWhat) {
    const std::vector<std::pair<QStringList, QString>> cases{
        {{}, "--rehearse FILE"},
        {{"--rehearse"}, "rehearse"},
        {{"--rehearse", "a.wav", "b.wav"}, "b.wav"},
        {{"--rehearse", "a.wav", "--loud"}, "loud"},
        {{"--headless"}, "--rehearse FILE"},
        {{"--interview", "loud"}, "loud"},
        {{"--interview", "system", "--rehearse", "a.wav"}, "--interview"},
        {{"--rehearse", "a.wav", "--listen"}, "--check-audio"},
        {{"--check-audio", "--manual"}, "--manual"},
    };
    for (const auto& [arguments, words] : cases) {
        const CommandLine line = parse(arguments);
        EXPECT_EQ(line.action, Action::Refuse) << arguments.join(' ').toStdString();
        EXPECT_TRUE(line.message.contains(words)) << line.message.toStdString();
    }
}

TEST(CommandLineTest, ReadsInterviewsAndAudioCommands) {
    EXPECT_EQ(parse({"--interview", "system", "--json"}).action, Action::Interview);
    EXPECT_TRUE(parse({"--interview", "system", "--json"}).json);
    EXPECT_TRUE(parse({"--interview", "system"}).systemAudio);
    EXPECT_FALSE(parse({"--interview", "microphone"}).systemAudio);
    EXPECT_EQ(parse({"--check-audio"}).action, Action::CheckAudio);
    EXPECT_FALSE(parse({"--check-audio"}).listen);
    EXPECT_TRUE(parse({"--check-audio", "--listen"}).listen);
    EXPECT_EQ(parse({"--interview", "app: Firefox"}).application, "Firefox");
    EXPECT_TRUE(parse({"--interview", "app:Firefox"}).systemAudio);
    EXPECT_EQ(parse({"--interview", "app:"}).action, Action::Refuse);
}

TEST(CommandLineTest, HelpNamesEveryOptionAndVersionTheVersion) {
    const CommandLine help = parse({"--help"});
    EXPECT_EQ(help.action, Action::Print);
    for (const char* option :
         {"--rehearse", "--interview", "--check-audio", "--listen", "--headless", "--json", "--screenshot",
          "--language", "--translate-to", "--manual", "--verbose", "--help", "--version"})
        EXPECT_TRUE(help.message.contains(QLatin1String(option))) << option;
    EXPECT_EQ(parse({"--version"}).action, Action::Print);
    EXPECT_TRUE(parse({"--version"}).message.contains(QRegularExpression("^parlowen \\d+\\.\\d+\\.\\d+\n$")));
}

} // namespace
} // namespace parlowen
