#include "PrivatePulseAudio.h"

namespace parlowen::testing {

QStringList PrivatePulseAudio::oneSink() {
    return {"module-null-sink sink_name=call rate=48000 channels=2 format=float32le norewinds=1"};
}

PrivatePulseAudio::PrivatePulseAudio(const QStringList& modules)
    : PrivateAudioServer("native") {
    QString script;
    for (const QString& module : modules)
        script += "load-module " + module + '\n';
    // The protocol comes last: once its socket is there, all the rest is.
    write("start.pa", script + "load-module module-native-protocol-unix auth-anonymous=1 socket=" + path("native"));
    // The limit of open files that the daemon sets itself would end at some sixty sinks.
    write("daemon.conf", "rlimit-nofile = 4096\n");
    environment_.insert("PULSE_CONFIG", path("daemon.conf"));
    restart();
}

bool PrivatePulseAudio::start() {
    return startOne("pulseaudio",
                    {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no", "-F", path("start.pa")},
                    "native");
}

} // namespace parlowen::testing
