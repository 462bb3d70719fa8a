#pragma once

#include "WaitFor.h"
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

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

    bool isReady() const { return ready_; }
    /// The server's address, as PULSE_SERVER has it.
    QString address() const { return "unix:" + path(isPipeWire_ ? "pulse/native" : "native"); }
    QString output() {
        QString text;
        for (const auto& process : processes_)
            text += QString::fromUtf8(process->readAll());
        return text;
    }
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
struct PrivatePulseAudio : PrivateAudioServer {
    explicit PrivatePulseAudio(
        QStringList modules = {"module-null-sink sink_name=call rate=48000 channels=2 format=float32le norewinds=1"})
        : PrivateAudioServer("PulseAudio", std::move(modules)) {}
};

/// Runs pactl on the server that PULSE_SERVER names and returns what it prints. A test fails when pactl does,
/// unless it may.
QString control(const QStringList& arguments, bool mayFail = false);

/// Waits for the audio server that PULSE_SERVER names by listening to its changes, rather than by asking it again and
/// again.
class ServerWatch {
public:
    ServerWatch();
    ~ServerWatch();

    /// Whether the condition holds within the bound. It is looked at first, and after changes of devices, streams,
    /// modules, defaults and of this connection; it may ask the server.
    bool until(const std::function<bool()>& condition, int milliseconds = 40'000);
    /// Waits until nothing has changed for half a second, ten seconds at most.
    void untilQuiet();

private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

/// A test that runs on PulseAudio and on PipeWire, each private: the parameter is the server's name.
struct EitherAudioServer : ::testing::TestWithParam<const char*> {
    void startServer(const QStringList& modules) {
        daemon = std::make_unique<PrivateAudioServer>(GetParam(), modules);
        ASSERT_TRUE(daemon->isReady()) << daemon->output().toStdString();
    }

    /// As another program sees them. The input is a source's name.
    static void expectDefaults(const QString& input, const QString& output) {
        EXPECT_EQ(control({QStringLiteral("get-default-source")}), input);
        EXPECT_EQ(control({QStringLiteral("get-default-sink")}), output);
    }

    std::unique_ptr<PrivateAudioServer> daemon;
};

} // namespace parlowen::testing

/// Runs the tests of a suite on both servers.
#define ON_EITHER_AUDIO_SERVER(Suite)                                                                                  \
    INSTANTIATE_TEST_SUITE_P(On, Suite, ::testing::Values("PulseAudio", "PipeWire"),                                   \
                             [](const auto& kind) { return std::string(kind.param); })
