#include "PrivatePipeWire.h"

namespace parlowen::testing {

PrivatePipeWire::PrivatePipeWire(QStringList modules)
    : PrivateAudioServer("pulse/native")
    , modules_(std::move(modules)) {
    environment_.insert("PULSE_SERVER", address());
    environment_.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path("bus"));
    write("wireplumber/main.lua.d/51-no-hardware.lua",
          "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\nlibcamera_monitor.enabled = false\n");
    write("wireplumber/bluetooth.lua.d/51-no-hardware.lua", "bluez_monitor.enabled = false\n");
    restart();
}

bool PrivatePipeWire::start() {
    const QString bus = "--address=unix:path=" + path("bus");
    return startOne("dbus-daemon", {"--session", "--nofork", "--nopidfile", bus}, "bus") &&
           startOne("pipewire", {}, "pipewire-0") && startOne("wireplumber", {}) &&
           startOne("pipewire-pulse", {}, "pulse/native") && loadModules();
}

/// The session manager is up once it has chosen a default sink: there always is one, if only a dummy.
bool PrivatePipeWire::loadModules() const {
    bool loaded = waitFor([this] {
        QByteArray sink;
        return control({"get-default-sink"}, &sink) && !sink.trimmed().isEmpty() && !sink.startsWith('@');
    });
    for (const QString& module : modules_)
        loaded = loaded && control({"load-module", module.section(u' ', 0, 0), module.section(u' ', 1)});
    return loaded;
}

bool PrivatePipeWire::control(const QStringList& arguments, QByteArray* answer) const {
    QProcess pactl;
    pactl.setProcessEnvironment(environment_);
    pactl.start("pactl", arguments);
    if (!pactl.waitForFinished(10'000) || pactl.exitCode() != 0)
        return false;
    if (answer)
        *answer = pactl.readAllStandardOutput();
    return true;
}

} // namespace parlowen::testing
