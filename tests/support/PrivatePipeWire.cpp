#include "PrivatePipeWire.h"

#include "PrivatePulseAudio.h"
#include "WaitFor.h"

#include <QDir>
#include <QFile>

namespace parlowen::testing {

namespace {

QProcessEnvironment environmentIn(const QString& directory) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME"})
        environment.insert(QString::fromLatin1(name), directory);
    for (const char* name :
         {"PULSE_RUNTIME_PATH", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_REMOTE", "DISPLAY", "WAYLAND_DISPLAY"})
        environment.remove(QString::fromLatin1(name));
    environment.insert(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:%1/pulse/native").arg(directory));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=%1/bus").arg(directory));
    return environment;
}

void write(const QString& path, const char* text) {
    QDir().mkpath(path.section(u'/', 0, -2));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
}

} // namespace

PrivatePipeWire::PrivatePipeWire(QStringList modules)
    : modules_(std::move(modules))
    , environment_(environmentIn(directory_.path())) {
    keepOffHardware();
    ready_ = start();
    qputenv("PULSE_SERVER", address().toUtf8());
}

PrivatePipeWire::~PrivatePipeWire() {
    qunsetenv("PULSE_SERVER");
    kill();
}

QString PrivatePipeWire::address() const { return environment_.value(QStringLiteral("PULSE_SERVER")); }

QString PrivatePipeWire::output() {
    QString text;
    for (const auto& process : processes_)
        text += QString::fromUtf8(process->readAll());
    return text;
}

void PrivatePipeWire::kill() {
    ready_ = false;
    for (auto process = processes_.rbegin(); process != processes_.rend(); ++process)
        (*process)->kill();
    for (const auto& process : processes_)
        process->waitForFinished(5000);
    processes_.clear();
}

bool PrivatePipeWire::restart() {
    kill();
    ready_ = start();
    return ready_;
}

void PrivatePipeWire::keepOffHardware() const {
    write(path("wireplumber/main.lua.d/51-no-hardware.lua"),
          "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\nlibcamera_monitor.enabled = false\n");
    write(path("wireplumber/bluetooth.lua.d/51-no-hardware.lua"), "bluez_monitor.enabled = false\n");
}

bool PrivatePipeWire::start() {
    const QString bus = path("bus");
    return startOne(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                     QStringLiteral("--address=unix:path=") + bus},
                    bus) &&
           startOne(QStringLiteral("pipewire"), {}, path("pipewire-0")) &&
           startOne(QStringLiteral("wireplumber"), {}, {}) &&
           startOne(QStringLiteral("pipewire-pulse"), {}, path("pulse/native")) && loadModules();
}

/// The socket, when there is one to wait for, shows that the program is up.
bool PrivatePipeWire::startOne(const QString& program, const QStringList& arguments, const QString& socket) {
    if (!socket.isEmpty())
        QFile::remove(socket);
    auto& process = processes_.emplace_back(std::make_unique<QProcess>());
    process->setProcessEnvironment(environment_);
    process->setProcessChannelMode(QProcess::MergedChannels);
    endWithParent(*process);
    process->start(program, arguments);
    if (!process->waitForStarted())
        return false;
    if (socket.isEmpty())
        return true;
    waitFor([&] { return takesConnections(socket) || process->state() == QProcess::NotRunning; });
    return process->state() == QProcess::Running && takesConnections(socket);
}

/// The session manager is up once it has chosen a default sink: there always is one, if only a dummy.
bool PrivatePipeWire::loadModules() const {
    const bool managed = waitFor([this] {
        QByteArray sink;
        return control({QStringLiteral("get-default-sink")}, &sink) && !sink.trimmed().isEmpty() &&
               !sink.startsWith('@');
    });
    bool loaded = managed;
    for (const QString& module : modules_)
        loaded =
            loaded && control({QStringLiteral("load-module"), module.section(u' ', 0, 0), module.section(u' ', 1)});
    return loaded;
}

bool PrivatePipeWire::control(const QStringList& arguments, QByteArray* answer) const {
    QProcess pactl;
    pactl.setProcessEnvironment(environment_);
    pactl.start(QStringLiteral("pactl"), arguments);
    if (!pactl.waitForFinished(10'000) || pactl.exitCode() != 0)
        return false;
    if (answer)
        *answer = pactl.readAllStandardOutput();
    return true;
}

} // namespace parlowen::testing
