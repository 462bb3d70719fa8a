// How long the program takes from its start to its main window's first paint, and how much memory it then holds, beside
// a bare window of the same toolkit in the same run; how much of a processor it uses while nobody touches it. What one
// line of Chinese text, in two weights, adds to that bare window is printed beside it: no window that can be read costs
// less.

#include <Foundation/UserDefaults.h>
#include <Main/Composition.h>
#include <Main/SessionSignIn.h>
#include <Network/Settings.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QThread>
#include <QTimer>
#include <QWidget>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "Measure.h"

namespace parlowen::bench {
namespace {

constexpr int rounds = 11;
constexpr int settleMilliseconds = 3'000;
constexpr int idleSeconds = 20;
constexpr double startTarget = 1.5;
constexpr double memoryTarget = 1.6;
constexpr double idleTarget = 0.5; // percent of a core
const char* const painted = "窗口已显示";

class BareWindow : public QWidget {
protected:
    void paintEvent(QPaintEvent*) override {
        QTimer::singleShot(0, this, [] {
            std::puts(painted);
            std::fflush(stdout);
        });
    }
};

int showBareWindow(int argc, char** argv, bool withText) {
    const QApplication application(argc, argv);
    BareWindow window;
    window.resize(650, 400);
    if (withText)
        new QLabel(QStringLiteral("开始<b>面试</b>"), &window);
    window.show();
    return QApplication::exec();
}

/// The program's process while it is measured.
class Running {
public:
    Running(const QString& program, const QStringList& arguments) {
        process_.setProcessChannelMode(QProcess::MergedChannels);
        QElapsedTimer clock;
        clock.start();
        process_.start(program, arguments);
        QByteArray output;
        while (!output.contains(painted) && process_.waitForReadyRead(30'000))
            output += process_.readAll();
        milliseconds = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        if (!output.contains(painted)) {
            std::printf("%s showed no window: %s\n", qPrintable(program), output.constData());
            std::exit(1);
        }
    }
    ~Running() {
        process_.terminate();
        if (!process_.waitForFinished(20'000))
            process_.kill();
    }
    /// Lets it go on for so long.
    void wait(int time) {
        QElapsedTimer clock;
        clock.start();
        while (!clock.hasExpired(time)) {
            process_.waitForReadyRead(100); // or its pipe would be full
            process_.readAll();
        }
    }
    double megabytes() const {
        for (const QByteArray& line : read("status").split('\n')) {
            if (line.startsWith("VmRSS:"))
                return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
        }
        return 0;
    }
    /// Of the processor, so far: fields 14 and 15 of /proc/PID/stat, in ticks.
    double seconds() const {
        const QList<QByteArray> fields = read("stat").split(')').last().trimmed().split(' ');
        return (fields.at(11).toDouble() + fields.at(12).toDouble()) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }

    double milliseconds = 0; ///< to the first paint

private:
    QByteArray read(const char* name) const {
        QFile file(QStringLiteral("/proc/%1/%2").arg(process_.processId()).arg(QLatin1String(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QProcess process_;
};

/// Signs this home in to the local service, so that the main window is what opens.
bool signIn() {
    UserDefaults defaults;
    Settings settings(defaults);
    Composition composition(settings);
    QObject context;
    std::optional<SessionSignIn> signIn;
    bool done = false;
    composition.connectBackend(&context, [&](const Result<Backend::Access>& access) {
        if (!access) {
            QCoreApplication::exit();
            return;
        }
        signIn.emplace(composition.http(), settings, access->trust);
        signIn->run([&done](const Result<void>& result) {
            done = result.has_value();
            QCoreApplication::exit();
        });
    });
    QCoreApplication::exec();
    settings.setAutoLogin(true);
    return done;
}

bool report(const char* what, double value, double target, const char* detail) {
    std::printf("%-28s %6.2f (target: at most %.1f)  %s\n", what, value, target, detail);
    return value <= target;
}

int measure(const QString& self) {
    const QString program = QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen");
    const QStringList ours{QStringLiteral("--verbose")}, bare{QStringLiteral("--bare")}, text{QStringLiteral("--text")};
    Running(self, text).wait(0), Running(program, ours).wait(0); // what both load is in memory then
    std::vector<double> starts, bareStarts, startRatios, textRatios, memory, bareMemory, textMemory;
    for (int round = 0; round < rounds; ++round) {
        Running baseline(self, bare);
        bareStarts.push_back(baseline.milliseconds);
        const Running readable(self, text);
        textRatios.push_back(readable.milliseconds / baseline.milliseconds);
        textMemory.push_back(readable.megabytes());
        Running subject(program, ours);
        starts.push_back(subject.milliseconds);
        startRatios.push_back(starts.back() / bareStarts.back());
        subject.wait(settleMilliseconds);
        memory.push_back(subject.megabytes());
        bareMemory.push_back(baseline.megabytes());
    }
    Running idle(program, ours);
    idle.wait(settleMilliseconds);
    const double before = idle.seconds();
    idle.wait(idleSeconds * 1000);
    const double percent = 100 * (idle.seconds() - before) / idleSeconds;

    const auto pair = [](double subject, double baseline, const char* unit) {
        return QStringLiteral("%1 %3 against %2 %3").arg(subject, 0, 'f', 1).arg(baseline, 0, 'f', 1).arg(unit);
    };
    const bool met[] = {
        report("start to first paint, ratio", median(startRatios), startTarget,
               qPrintable(pair(median(starts), median(bareStarts), "ms"))),
        report("resident memory, ratio", median(memory) / median(bareMemory), memoryTarget,
               qPrintable(pair(median(memory), median(bareMemory), "MB"))),
        report("idle, percent of a core", percent, idleTarget, ""),
    };
    std::printf("one line of text alone: start %.2f, memory %.2f\n", median(textRatios),
                median(textMemory) / median(bareMemory));
    return std::all_of(std::begin(met), std::end(met), [](bool one) { return one; }) ? 0 : 1;
}

} // namespace
} // namespace parlowen::bench

int main(int argc, char** argv) {
    using namespace parlowen::bench;
    if (argc > 1 && (std::strcmp(argv[1], "--bare") == 0 || std::strcmp(argv[1], "--text") == 0))
        return showBareWindow(argc, argv, std::strcmp(argv[1], "--text") == 0);
    const QCoreApplication application(argc, argv);
    if (!signIn()) {
        std::puts("the local service cannot be signed in to");
        return 1;
    }
    return measure(QCoreApplication::applicationFilePath());
}
