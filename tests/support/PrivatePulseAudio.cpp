#include "PrivatePulseAudio.h"

#include "WaitFor.h"

#include <QFile>
#include <QProcessEnvironment>
#include <csignal>
#include <sys/prctl.h>

namespace parlowen::testing {

namespace {

/// The protocol comes last: once its socket is there, all the rest is.
QByteArray startScript(const QStringList& modules, const QString& socket) {
    QString script;
    for (const QString& module : modules)
        script += QStringLiteral("load-module %1\n").arg(module);
    script += QStringLiteral("load-module module-native-protocol-unix auth-anonymous=1 socket=%1\n").arg(socket);
    return script.toUtf8();
}

/// The limit of open files that the daemon sets itself would end at some sixty sinks.
void raiseFileLimit(const QString& configuration) {
    QFile file(configuration);
    if (file.open(QIODevice::WriteOnly))
        file.write("rlimit-nofile = 4096\n");
}

QProcessEnvironment environmentIn(const QString& directory) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), directory);
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), directory);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), directory);
    environment.insert(QStringLiteral("PULSE_CONFIG"), directory + QStringLiteral("/daemon.conf"));
    for (const char* name : {"PULSE_SERVER", "PULSE_RUNTIME_PATH", "DBUS_SESSION_BUS_ADDRESS", "DISPLAY"})
        environment.remove(QString::fromLatin1(name));
    return environment;
}

} // namespace

QStringList PrivatePulseAudio::oneSink() {
    return {QStringLiteral("module-null-sink sink_name=call rate=48000 channels=2 format=float32le norewinds=1")};
}

PrivatePulseAudio::PrivatePulseAudio(const QStringList& modules) {
    const QString script = directory_.filePath(QStringLiteral("start.pa"));
    const QString socket = directory_.filePath(QStringLiteral("native"));
    QFile file(script);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(startScript(modules, socket));
    file.close();
    raiseFileLimit(directory_.filePath(QStringLiteral("daemon.conf")));
    daemon_.setProcessEnvironment(environmentIn(directory_.path()));
    daemon_.setProcessChannelMode(QProcess::MergedChannels);
    endWithParent(daemon_);
    start();
    qputenv("PULSE_SERVER", address().toUtf8());
}

void PrivatePulseAudio::start() {
    const QString socket = directory_.filePath(QStringLiteral("native"));
    daemon_.start(QStringLiteral("pulseaudio"),
                  {QStringLiteral("-n"), QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"),
                   QStringLiteral("--use-pid-file=no"), QStringLiteral("-F"),
                   directory_.filePath(QStringLiteral("start.pa"))});
    waitFor([this, &socket] { return takesConnections(socket) || daemon_.state() == QProcess::NotRunning; });
    ready_ = takesConnections(socket) && daemon_.state() == QProcess::Running;
}

PrivatePulseAudio::~PrivatePulseAudio() {
    qunsetenv("PULSE_SERVER");
    daemon_.terminate();
    if (!daemon_.waitForFinished(5000))
        kill();
}

QString PrivatePulseAudio::address() const {
    return QStringLiteral("unix:") + directory_.filePath(QStringLiteral("native"));
}

QString PrivatePulseAudio::output() { return QString::fromUtf8(daemon_.readAll()); }

void PrivatePulseAudio::kill() {
    daemon_.kill();
    daemon_.waitForFinished(5000);
}

bool PrivatePulseAudio::restart() {
    kill();
    QFile::remove(directory_.filePath(QStringLiteral("native")));
    start();
    return ready_;
}

void endWithParent(QProcess& process) {
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
}

} // namespace parlowen::testing
