#include "PrivateAudioServer.h"

#include <QDir>
#include <QLocalSocket>
#include <csignal>
#include <ranges>
#include <sys/prctl.h>

namespace parlowen::testing {

namespace {

/// The file of a socket alone says little: it is there before its owner listens.
bool takesConnections(const QString& path) {
    QLocalSocket socket;
    socket.connectToServer(path);
    return socket.waitForConnected(1'000);
}

} // namespace

void endWithParent(QProcess& process) {
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
}

PrivateAudioServer::PrivateAudioServer(const std::string& kind, QStringList modules)
    : isPipeWire_(kind == "PipeWire")
    , modules_(std::move(modules)) {
    for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME"})
        environment_.insert(name, directory_.path());
    for (const char* name : {"PULSE_SERVER", "PULSE_RUNTIME_PATH", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_REMOTE",
                             "DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"})
        environment_.remove(name);
    if (isPipeWire_) {
        environment_.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path("bus"));
        write("wireplumber/main.lua.d/51-no-hardware.lua",
              "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\nlibcamera_monitor.enabled = false\n");
        write("wireplumber/bluetooth.lua.d/51-no-hardware.lua", "bluez_monitor.enabled = false\n");
    } else {
        QString script;
        for (const QString& module : modules_)
            script += "load-module " + module + '\n';
        // The protocol comes last: once its socket is there, all the rest is.
        write("start.pa", script + "load-module module-native-protocol-unix auth-anonymous=1 socket=" + path("native"));
        // The limit of open files that the daemon sets itself would end at some sixty sinks.
        write("daemon.conf", "rlimit-nofile = 4096\n");
        environment_.insert("PULSE_CONFIG", path("daemon.conf"));
    }
    restart();
}

PrivateAudioServer::~PrivateAudioServer() {
    qunsetenv("PULSE_SERVER");
    for (const auto& process : processes_ | std::views::reverse) {
        process->terminate();
        process->waitForFinished(5000);
    }
    kill();
}

void PrivateAudioServer::signal(int number) {
    for (const auto& process : processes_)
        ::kill(static_cast<pid_t>(process->processId()), number);
}

void PrivateAudioServer::kill() {
    for (const auto& process : processes_ | std::views::reverse)
        process->kill();
    for (const auto& process : processes_)
        process->waitForFinished(5000);
    processes_.clear();
}

bool PrivateAudioServer::restart() {
    kill();
    qputenv("PULSE_SERVER", address().toUtf8());
    ready_ = start();
    return ready_;
}

void PrivateAudioServer::write(const QString& name, const QString& text) const {
    QDir(directory_.path()).mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(text.toUtf8());
}

bool PrivateAudioServer::startOne(const QString& program, const QStringList& arguments, const QString& socket) {
    if (!socket.isEmpty())
        QFile::remove(path(socket));
    auto& process = processes_.emplace_back(std::make_unique<QProcess>());
    process->setProcessEnvironment(environment_);
    process->setProcessChannelMode(QProcess::MergedChannels);
    endWithParent(*process);
    process->start(program, arguments);
    if (!process->waitForStarted() || socket.isEmpty())
        return process->state() == QProcess::Running;
    return waitFor([&] { return takesConnections(path(socket)) || process->state() == QProcess::NotRunning; },
                   60'000) &&
           process->state() == QProcess::Running;
}

bool PrivateAudioServer::start() {
    if (isPipeWire_)
        return startPipeWire();
    return startOne("pulseaudio",
                    {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no", "-F", path("start.pa")},
                    "native");
}

/// The session manager is up once it has chosen a default sink: there always is one, if only a dummy.
bool PrivateAudioServer::startPipeWire() {
    const QString bus = "--address=unix:path=" + path("bus");
    const auto hasDefault = [] {
        const QString sink = control({"get-default-sink"}, true);
        return !sink.isEmpty() && !sink.startsWith(u'@');
    };
    bool isUp = startOne("dbus-daemon", {"--session", "--nofork", "--nopidfile", bus}, "bus") &&
                startOne("pipewire", {}, "pipewire-0") && startOne("wireplumber", {}) &&
                startOne("pipewire-pulse", {}, "pulse/native") && ServerWatch().until(hasDefault, 60'000);
    for (const QString& module : modules_)
        isUp = isUp && !control({"load-module", module.section(u' ', 0, 0), module.section(u' ', 1)}).isEmpty();
    return isUp;
}

} // namespace parlowen::testing
