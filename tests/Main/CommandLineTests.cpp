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
    EXPECT_TRUE(parse({"--check-audio", "--listen"}).listen && !parse({"--check-audio"}).listen);
    for (const char* option : {"--rehearse", "--interview", "--check-audio", "--listen", "--headless", "--json",
                               "--screenshot", "--backend", "--language", "--translate-to", "--manual", "--verbose"})
        EXPECT_TRUE(parse({"--help"}).message.contains(QLatin1String(option))) << option;
    EXPECT_EQ(parse({"--version"}).action, Action::Print);
    EXPECT_TRUE(parse({"--version"}).message.contains(QRegularExpression("^parlowen \\d+\\.\\d+\\.\\d+\n$")));
}

TEST(CommandLineTest, RefusesWhatItDoesNotKnowAndSaysWhatInTheTerminalsLanguage) {
    const std::vector<std::pair<QStringList, QString>> cases{
        {{}, "--rehearse FILE"},
        {{"--headless"}, "--rehearse FILE"},
        {{"--rehearse"}, "--rehearse needs a value"},
        {{"--rehearse", ""}, "--rehearse needs the name of a file"},
        {{"--rehearse", "a.wav", "b.wav"}, "b.wav"},
        {{"--rehearse", "a.wav", "--loud"}, "no option 'loud'"},
        {{"--check-audio=loud"}, "--check-audio takes no value"},
        {{"--interview", "loud"}, "not 'loud'"},
        {{"--interview", "app:"}, "not 'app:'"},
        {{"--page", "attic"}, "setup, "},
        {{"--page", "setup", "--manual"}, "--manual"},
        {{"--interview", "system", "--rehearse", "a.wav"}, "--interview"},
        {{"--rehearse", "a.wav", "--listen"}, "--check-audio"},
        {{"--check-audio", "--backend", "x"}, "--backend"},
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

} // namespace
} // namespace parlowen
