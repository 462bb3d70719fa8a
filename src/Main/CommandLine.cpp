#include "CommandLine.h"

#include <Foundation/Bundle.h>

#include <QCommandLineParser>

namespace parlowen {

namespace {

const char* const helpText = R"(Usage: parlowen --rehearse FILE [OPTIONS]

Listens to an interview, shows what is said, and suggests an answer for each question.

  --rehearse FILE      run a session on a recorded interview (WAV, FLAC or Ogg) instead of a call; signs in to the
                       local service by itself when nobody is signed in
  --headless           without a window, a display or an audio server: print each finished sentence, and each answer as it grows
  --json               print one JSON object a line and event: kind, time (seconds of the recording), text, row
  --screenshot FILE    write a picture of the session window at the end (PNG)
  --language KEY       the language spoken, such as en-US, in place of the stored one
  --translate-to KEY   translate into this language, such as es
  --manual             collect the questions; headless, they are asked together at the end
  --verbose            write the console log to standard error: every request and reply, sign-in included
  --help               this page
  --version            the version

A rehearsal never changes stored settings. The environment variable PARLOWEN_API_BASE_URL names another backend than the
built-in one.

Exit status: 0 when recognition ran, 1 when it did not, 2 for a wrong command line or a file that cannot be played.
)";

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

} // namespace

CommandLine parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    const QString value = QStringLiteral("value");
    parser.addOptions({
        {QStringLiteral("rehearse"), {}, value},
        {QStringLiteral("headless"), {}},
        {QStringLiteral("json"), {}},
        {QStringLiteral("screenshot"), {}, value},
        {QStringLiteral("language"), {}, value},
        {QStringLiteral("translate-to"), {}, value},
        {QStringLiteral("manual"), {}},
        {QStringLiteral("verbose"), {}},
        {QStringLiteral("help"), {}},
        {QStringLiteral("version"), {}},
    });
    if (!parser.parse(arguments))
        return refusal(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        return printing(QString::fromUtf8(helpText));
    if (parser.isSet(QStringLiteral("version")))
        return printing(QStringLiteral("parlowen %1\n").arg(Bundle::shortVersion()));
    if (!parser.positionalArguments().isEmpty())
        return refusal(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    if (!parser.isSet(QStringLiteral("rehearse")))
        return refusal(QStringLiteral("nothing to do: name a recorded interview with --rehearse FILE"));

    CommandLine line;
    line.action = CommandLine::Action::Rehearse;
    line.file = parser.value(QStringLiteral("rehearse"));
    line.headless = parser.isSet(QStringLiteral("headless"));
    line.json = parser.isSet(QStringLiteral("json"));
    line.verbose = parser.isSet(QStringLiteral("verbose"));
    line.manual = parser.isSet(QStringLiteral("manual"));
    line.screenshot = parser.value(QStringLiteral("screenshot"));
    line.language = parser.value(QStringLiteral("language"));
    line.translateTo = parser.value(QStringLiteral("translate-to"));
    return line;
}

} // namespace parlowen
