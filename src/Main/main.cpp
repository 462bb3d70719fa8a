#include "CommandLine.h"
#include "Rehearsal.h"
#include "RehearsalReport.h"
#include "UnixSignals.h"

#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>

#include <QApplication>
#include <cstdio>
#include <memory>
#include <optional>

namespace {

using namespace parlowen;

void write(std::FILE* stream, const QByteArray& text) {
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
    std::fflush(stream);
}

std::unique_ptr<RehearsalReport> makeReport(bool json, RehearsalReport::Clock clock) {
    const auto toOutput = [](const QByteArray& line) { write(stdout, line); };
    if (json)
        return std::make_unique<JsonReport>(toOutput, std::move(clock));
    return std::make_unique<TextReport>(toOutput, std::move(clock));
}

int rehearse(const CommandLine& line) {
    Rehearsal* running = nullptr;
    const auto report = makeReport(line.json, [&running] { return running->heardSeconds(); });
    Rehearsal rehearsal(line, *report, [](int status) { QCoreApplication::exit(status); });
    running = &rehearsal;
    const UnixSignals signalsWatch([&rehearsal] { rehearsal.interrupt(); });
    QMetaObject::invokeMethod(
        &rehearsal, [&rehearsal] { rehearsal.begin(); }, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const CommandLine line = parseCommandLine(arguments);
    switch (line.action) {
    case CommandLine::Action::Print:
        write(stdout, line.message.toUtf8());
        return 0;
    case CommandLine::Action::Refuse:
        write(stderr, line.message.toUtf8());
        return 2;
    case CommandLine::Action::Rehearse:
        break;
    }
    if (line.headless)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Its lines would drown what the rehearsal prints.
    std::optional<ConsoleLogCapture> silence;
    if (!line.verbose)
        silence.emplace([](const QString&) {});
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Parlowen"));
    QApplication::setApplicationVersion(Bundle::shortVersion());
    QApplication::setQuitOnLastWindowClosed(false);
    return rehearse(line);
}
