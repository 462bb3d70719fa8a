#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <memory>
#include <vector>

namespace parlowen::testing {

/// Makes a child process end when the thread that starts it ends, whatever becomes of the test.
void endWithParent(QProcess& process);

/// An audio server of the test's own, without hardware: own run-time directory, own socket, gone with this object.
/// While it lives PULSE_SERVER names it, for this process and the programs that it starts.
class PrivateAudioServer {
public:
    /// "PulseAudio", or "PipeWire" with its session manager, its PulseAudio server and a message bus. A module is its
    /// name and arguments. Ready on return, or failed.
    PrivateAudioServer(const std::string& kind, QStringList modules);
    ~PrivateAudioServer();
    PrivateAudioServer(const PrivateAudioServer&) = delete;
    PrivateAudioServer& operator=(const PrivateAudioServer&) = delete;

    bool isReady() const { return ready_; }
    /// The server's address, as PULSE_SERVER has it.
    QString address() const { return "unix:" + path(isPipeWire_ ? "pulse/native" : "native"); }
    /// What the server has said, to explain a failure.
    QString output();
    /// Sends a signal to all that belongs to the server.
    void signal(int number);
    /// Ends the server at once, as a crash would.
    void kill();
    /// Ends it at once and starts it again: same address, same modules. False when it does not come up.
    bool restart();

private:
    bool start();
    bool startPipeWire();
    QString path(const QString& name) const { return directory_.filePath(name); }
    void write(const QString& name, const QString& text) const;
    /// Starts a program; the socket, when there is one to wait for, shows that it is up.
    bool startOne(const QString& program, const QStringList& arguments, const QString& socket = {});

    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    const bool isPipeWire_;
    const QStringList modules_;
    std::vector<std::unique_ptr<QProcess>> processes_;
    const QTemporaryDir directory_;
    bool ready_ = false;
};

/// A private PulseAudio daemon; unless modules are named with a sink without hardware, "call": 48 kHz, stereo. Its
/// monitor is the default source.
class PrivatePulseAudio : public PrivateAudioServer {
public:
    explicit PrivatePulseAudio(
        QStringList modules = {"module-null-sink sink_name=call rate=48000 channels=2 format=float32le norewinds=1"})
        : PrivateAudioServer("PulseAudio", std::move(modules)) {}
};

} // namespace parlowen::testing
