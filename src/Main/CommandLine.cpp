#include "CommandLine.h"

#include <Foundation/Bundle.h>

#include <QCommandLineParser>
#include <array>

namespace parlowen {

namespace {

const char* const helpText = R"(Usage: parlowen --rehearse FILE [OPTIONS]
       parlowen --interview system|microphone|app:NAME [OPTIONS]
       parlowen --check-audio [--listen]

Listens to an interview, shows what is said, and suggests an answer for each question.

  --rehearse FILE      run a session on a recorded interview (WAV, FLAC or Ogg) instead of a call
  --interview SOURCE   run a session on the computer's own sound (system), on the microphone, or on what one program
                       plays (app:NAME, such as app:Firefox); leaves all audio devices as they are
  --check-audio        say what a session would hear, what is missing and what to do
  --listen             with --check-audio: play a short chirp and tell whether it is heard, how loud and how late

Options of a session:

  --headless           without a window or a display: print each finished sentence, and each answer as it grows
  --json               print one JSON object a line and event: kind, time (seconds since recognition began),
                       text, row
  --screenshot FILE    write a picture of the session window at the end (PNG)
  --language KEY       the language spoken, such as en-US, in place of the stored one
  --translate-to KEY   translate into this language, such as es
  --manual             collect the questions; a headless rehearsal asks them together at the end
  --verbose            write the console log to standard error: every request and reply, sign-in included

  --help               this page
  --version            the version

A session signs in to the local service by itself when nobody is signed in, and never changes stored settings; only an
interview keeps the text size and the opacity that were set in its window. The environment variable PARLOWEN_API_BASE_URL
names another backend than the built-in one.

Exit status: 0 when recognition ran (or the check found all well), 1 when it did not or the output or the picture could
not be written, 2 for a wrong command line, a file that cannot be played, or a window without a display.
)";

/// The options that choose what is done; exactly one is needed.
const std::array<const char*, 3> commands{"rehearse", "interview", "check-audio"};

CommandLine refusal(const QString& problem) {
    CommandLine line;
    line.message = QStringLiteral("parlowen: %1\nTry 'parlowen --help'.\n").arg(problem);
    return line;
}

CommandLine printing(const QString& text) {
    CommandLine line;
    line.action = CommandLine::Action::Print;
    line.message = text;
    return line;
}

void addOptions(QCommandLineParser& parser) {
    for (const char* name : {"rehearse", "interview", "screenshot", "language", "translate-to"})
        parser.addOption({QString::fromLatin1(name), {}, QStringLiteral("value")});
    for (const char* name : {"check-audio", "listen", "headless", "json", "manual", "verbose", "help", "version"})
        parser.addOption({QString::fromLatin1(name), {}});
}

CommandLine sessionLine(const QCommandLineParser& parser) {
    CommandLine line;
    line.headless = parser.isSet(QStringLiteral("headless"));
    line.json = parser.isSet(QStringLiteral("json"));
    line.manual = parser.isSet(QStringLiteral("manual"));
    line.verbose = parser.isSet(QStringLiteral("verbose"));
    line.screenshot = parser.value(QStringLiteral("screenshot"));
    line.language = parser.value(QStringLiteral("language"));
    line.translateTo = parser.value(QStringLiteral("translate-to"));
    return line;
}

CommandLine command(const QString& name, const QCommandLineParser& parser) {
    CommandLine line = sessionLine(parser);
    line.listen = parser.isSet(QStringLiteral("listen"));
    if (name == QLatin1String("rehearse")) {
        line.action = CommandLine::Action::Rehearse;
        line.file = parser.value(name);
        if (line.file.isEmpty())
            return refusal(QStringLiteral("--rehearse needs the name of a file"));
    } else if (name == QLatin1String("interview")) {
        line.action = CommandLine::Action::Interview;
        const QString source = parser.value(name);
        if (source.startsWith(QLatin1String("app:")))
            line.application = source.mid(4).trimmed();
        line.systemAudio = source == QLatin1String("system") || !line.application.isEmpty();
        if (!line.systemAudio && source != QLatin1String("microphone"))
            return refusal(QStringLiteral("--interview takes system, microphone or app:NAME, not '%1'").arg(source));
    } else {
        line.action = CommandLine::Action::CheckAudio;
    }
    if (line.listen && line.action != CommandLine::Action::CheckAudio)
        return refusal(QStringLiteral("--listen goes with --check-audio"));
    const bool session = line.action == CommandLine::Action::Rehearse || line.action == CommandLine::Action::Interview;
    for (const char* option : {"headless", "json", "screenshot", "language", "translate-to", "manual"}) {
        if (!session && parser.isSet(QString::fromLatin1(option)))
            return refusal(QStringLiteral("--%1 goes with a session").arg(QLatin1String(option)));
    }
    return line;
}

} // namespace

CommandLine parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments))
        return refusal(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        return printing(QString::fromUtf8(helpText));
    if (parser.isSet(QStringLiteral("version")))
        return printing(QStringLiteral("parlowen %1\n").arg(Bundle::shortVersion()));
    if (!parser.positionalArguments().isEmpty())
        return refusal(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    QStringList chosen;
    for (const char* name : commands) {
        if (parser.isSet(QString::fromLatin1(name)))
            chosen << QString::fromLatin1(name);
    }
    if (chosen.isEmpty())
        return refusal(QStringLiteral("nothing to do: give --rehearse FILE, --interview or --check-audio"));
    if (chosen.size() > 1)
        return refusal(QStringLiteral("--%1 and --%2 do not go together").arg(chosen[0], chosen[1]));
    return command(chosen.constFirst(), parser);
}

} // namespace parlowen
