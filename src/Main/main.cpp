#include "AnswerCheck.h"
#include "AppDelegate.h"
#include "AudioCommands.h"
#include "CommandLine.h"
#include "Composition.h"
#include "Interview.h"
#include "LaterStart.h"
#include "Rehearsal.h"
#include "SessionReport.h"
#include "SessionSettings.h"
#include "SingleInstance.h"
#include "UnixSignals.h"

#include <CoreAudio/AudioHardwareService.h>
#include <CoreAudio/PulseAudioServer.h>
#include <Foundation/BackgroundQueue.h>
#include <Foundation/Bundle.h>
#include <Foundation/ChosenLanguage.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/Phrase.h>
#include <Foundation/UserDefaults.h>
#include <Login/CaptchaProcess.h>
#include <Network/Settings.h>
#include <Page/AIInterviewPages/FilePanel.h>
#include <Page/AIInterviewPages/WindowLevel.h>
#include <PulseAudio/PulseClient.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/Translation.h>

#include <QApplication>
#include <QFontDatabase>
#include <QPointer>
#include <QtMessageHandler>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

namespace {

using namespace parlowen;

/// Why standard output could not be written, the first time that it could not, as an errno value; 0 while it can.
int outputError = 0;

void write(std::FILE* stream, const QByteArray& text) {
    const auto size = static_cast<std::size_t>(text.size());
    if ((std::fwrite(text.constData(), 1, size, stream) == size && std::fflush(stream) == 0) || stream == stderr ||
        outputError != 0)
        return;
    outputError = errno;
    constexpr Phrase cannotWrite{"parlowen: standard output cannot be written: %1\n",
                                 "parlowen：无法写到标准输出：%1\n"};
    write(stderr, cannotWrite.here(QString::fromLocal8Bit(std::strerror(outputError))).toUtf8());
}

/// The console log's other lines would drown what the program prints. It speaks Chinese: where the terminal does not,
/// one line says that there is something in it.
void onlyFailures(const QString& line) {
    static bool said = false;
    // The session's status says what befalls its input, and the session itself which answer failed.
    const bool known = line.startsWith(QStringLiteral("[capture]")) || line.contains(QStringLiteral("录音")) ||
                       line.contains(QStringLiteral("流式连接"));
    if (!line.contains(QStringLiteral("❌")) || known)
        return;
    if (terminalLanguage() == Language::Chinese)
        write(stderr, line.toUtf8() + '\n');
    else if (!std::exchange(said, true))
        write(stderr, "parlowen: something went wrong; --verbose shows what\n");
}

std::unique_ptr<SessionReport> makeReport(bool json, SessionReport::Write toOutput, SessionReport::Clock clock) {
    if (json)
        return std::make_unique<JsonReport>(std::move(toOutput), std::move(clock));
    return std::make_unique<TextReport>(std::move(toOutput), std::move(clock));
}

/// The program's parts on a copy of the settings.
struct Parts {
    explicit Parts(const CommandLine& line)
        : settings(line.headless ? nullptr : Composition::secretKeeper())
        , composition(settings.settings(), line.backend) {
        if (composition.backend().isGiven())
            settings.settings().remove(SettingsKeys::fuwuqiKey.name); // of the copy: requests go where this run's do
    }
    SessionSettings settings;
    Composition composition;
};

/// Runs one session and returns its exit status.
template<class Run>
int runSession(const CommandLine& line) {
    Parts parts(line);
    SessionRun* running = nullptr;
    const auto toOutput = [&running, &line, left = false](const QByteArray& text) mutable {
        write(stdout, text);
        // Whoever read along has gone, and there is no window that shows the session.
        if (outputError == EPIPE && line.headless && !std::exchange(left, true))
            onMain(QPointer<SessionRun>(running), [running] { running->interrupt(); });
    };
    const auto report = makeReport(line.json, toOutput, [&running] { return running->heardSeconds(); });
    Run run(line, *report, parts.settings, parts.composition, [](int status) { QCoreApplication::exit(status); });
    running = &run;
    const UnixSignals interrupts([&run] { run.interrupt(); });
    if (const auto* windows = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) // one logs out
        QObject::connect(windows, &QGuiApplication::commitDataRequest, &run, &SessionRun::interrupt);
    onMain([&run] { run.begin(); });
    return QCoreApplication::exec();
}

/// The windows, once for each user: a later start has the first one do what it asks for.
int runShell(const CommandLine& line) {
    const Backend given(line.backend);
    SingleInstance instance;
    switch (instance.begin(
        {QCoreApplication::arguments(), given.isGiven() ? given.address() : QString(), terminalLanguage()})) {
    case SingleInstance::Role::First:
        break;
    case SingleInstance::Role::HandedOver:
        if (instance.problem().isEmpty())
            return 0;
        write(stderr, QStringLiteral("parlowen: %1\n").arg(instance.problem()).toUtf8());
        return 1;
    case SingleInstance::Role::Unanswered:
        constexpr Phrase unanswered{"parlowen: it runs already, but does not answer\n",
                                    "parlowen：程序已在运行，但没有响应\n"};
        write(stderr, unanswered.here().toUtf8());
        return 1;
    }
    chooseLanguage(windowLanguage()); // what a window shows may be worded for the terminal
    AppDelegate delegate(line, [](int status) { QCoreApplication::exit(status); });
    const UnixSignals interrupts([&delegate] { delegate.quit(); });
    instance.onLaunch = [&delegate](const Launch& launch) { return answerLaterStart(delegate, launch); };
    onMain([&delegate] { delegate.applicationDidFinishLaunching(); });
    return QCoreApplication::exec();
}

int checkAudio(PulseClient& client, const std::shared_ptr<AudioServer>& server, bool listen) {
    client.waitUntilKnown(std::chrono::seconds(3));
    const UnixSignals interrupts([] { QCoreApplication::exit(1); });
    AudioCommands::check(
        server, listen, [](const QByteArray& text) { write(stdout, text); },
        [](int status) { QCoreApplication::exit(status); });
    return QCoreApplication::exec();
}

int checkAnswers(const CommandLine& line) {
    Parts parts(line);
    AnswerCheck check(
        parts.settings, parts.composition, [](const QByteArray& text) { write(stdout, text); },
        [](int status) { QCoreApplication::exit(status); });
    const UnixSignals interrupts([] { QCoreApplication::exit(1); });
    onMain([&check] { check.begin(); });
    return QCoreApplication::exec();
}

int run(const CommandLine& line) {
    setSystemLogOnStandardError(line.verbose);
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    const auto server = std::make_shared<PulseAudioServer>(client);
    AudioHardwareService::install(server);
    std::optional<ConsoleLogCapture> quiet;
    if (!line.verbose)
        quiet.emplace(onlyFailures);
    switch (line.action) {
    case CommandLine::Action::Rehearse:
        return runSession<Rehearsal>(line);
    case CommandLine::Action::Interview:
        return runSession<Interview>(line);
    case CommandLine::Action::Shell:
        return runShell(line);
    case CommandLine::Action::CheckAudio:
        return checkAudio(*client, server, line.listen);
    case CommandLine::Action::CheckAnswers:
        return checkAnswers(line);
    case CommandLine::Action::Print:
    case CommandLine::Action::Refuse:
        break;
    }
    return 2;
}

/// A session goes on when nobody can read what it prints, but its end says so.
int outputStatus(int status) { return status == 0 && outputError != 0 ? 1 : status; }

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

void sayThatThereIsNoDisplay() {
    constexpr Phrase noDisplay{
        "parlowen: there is no display to open the window on; a session goes without one with --headless\n",
        "parlowen：没有可打开窗口的显示器；会话可以加上 --headless\n"};
    write(stderr, noDisplay.here().toUtf8());
}

QtMessageHandler usualHandler = nullptr;

/// What Qt says while it connects to the display: it would abort where it cannot.
void handleConnecting(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type != QtFatalMsg)
        return usualHandler(type, context, message);
    sayThatThereIsNoDisplay();
    std::_Exit(2);
}

std::unique_ptr<QCoreApplication> makeApplication(bool hasWindows, int& argc, char** argv) {
    if (!hasWindows)
        return std::make_unique<QCoreApplication>(argc, argv);
    usualHandler = qInstallMessageHandler(handleConnecting);
    auto application = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(usualHandler);
    inBackground([] { QFontDatabase::families(); }); // the fonts are looked through before the first text asks
    QApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Parlowen"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.parlowen.Parlowen"));
    translateWindows();
    QApplication::setWindowIcon(namedImage(QStringLiteral("logo")));
    return application;
}

} // namespace

int main(int argc, char** argv) {
    if (const std::optional<QUrl> captcha = CaptchaProcess::pageOf(argc, argv))
        return CaptchaProcess::host(*captcha, argc, argv);
    std::signal(SIGPIPE, SIG_IGN); // a session is to end in order also when nobody reads what is printed
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    chooseLanguage(Settings::uiLanguageIn(UserDefaults::defaultPath()));
    const CommandLine line = parseCommandLine(arguments);
    if (line.action == CommandLine::Action::Print || line.action == CommandLine::Action::Refuse) {
        const bool refused = line.action == CommandLine::Action::Refuse;
        write(refused ? stderr : stdout, line.message.toUtf8());
        return refused ? 2 : outputStatus(0);
    }
    const bool session = line.action == CommandLine::Action::Rehearse || line.action == CommandLine::Action::Interview;
    const bool shell = line.action == CommandLine::Action::Shell;
    if ((shell || (session && !line.headless)) && !hasDisplay()) {
        sayThatThereIsNoDisplay();
        return 2;
    }
    if (line.headless) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    } else if (session || shell) {
        preferPlatformWithLevels();
        preferPanelOfPortal();
    }
    const auto application = makeApplication(shell || (session && line.showsWindow()), argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Parlowen"));
    QCoreApplication::setApplicationVersion(Bundle::shortVersion());
    const int status = run(line);
    waitForBackground(); // which may still need the application
    return outputStatus(status);
}
