#pragma once

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <algorithm>
#include <csignal>
#include <memory>
#include <ranges>
#include <vector>

#include "WaitFor.h"

namespace parlowen::testing {

/// Makes a child process end when the thread that starts it ends, whatever becomes of the test.
inline void endWithParent(QProcess& process) {
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
}

/// Whether somebody takes connections on a Unix socket. The file alone says little: it is there before its owner
/// listens.
inline bool takesConnections(const QString& socketPath) {
    const QByteArray path = QFile::encodeName(socketPath);
    sockaddr_un address{};
    if (path.size() >= qsizetype(sizeof address.sun_path))
        return false;
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool taken = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return taken;
}

/// An audio server of the test's own, without hardware: own run-time directory, own socket, gone with this object.
/// While it lives PULSE_SERVER names it, for this process and the programs that it starts.
class PrivateAudioServer {
public:
    virtual ~PrivateAudioServer() {
        qunsetenv("PULSE_SERVER");
        for (const auto& process : processes_ | std::views::reverse) {
            process->terminate();
            process->waitForFinished(5000);
        }
        kill();
    }
    PrivateAudioServer(const PrivateAudioServer&) = delete;
    PrivateAudioServer& operator=(const PrivateAudioServer&) = delete;

    bool isReady() const { return ready_; }
    /// The server's address, as PULSE_SERVER has it.
    QString address() const { return "unix:" + path(socket_); }
    /// What the server has said, to explain a failure.
    QString output() {
        QString text;
        for (const auto& process : processes_)
            text += QString::fromUtf8(process->readAll());
        return text;
    }
    /// Sends a signal to all that belongs to the server.
    void signal(int number) {
        for (const auto& process : processes_)
            ::kill(static_cast<pid_t>(process->processId()), number);
    }
    /// Ends the server at once, as a crash would.
    void kill() {
        for (const auto& process : processes_ | std::views::reverse)
            process->kill();
        for (const auto& process : processes_)
            process->waitForFinished(5000);
        processes_.clear();
    }
    /// Ends it at once and starts it again: same address, same modules. False when it does not come up.
    bool restart() {
        kill();
        ready_ = start();
        qputenv("PULSE_SERVER", address().toUtf8());
        return ready_;
    }

protected:
    /// The socket for clients, below the directory.
    explicit PrivateAudioServer(const char* socket)
        : socket_(socket) {
        for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME"})
            environment_.insert(name, directory_.path());
        for (const char* name : {"PULSE_SERVER", "PULSE_RUNTIME_PATH", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_REMOTE",
                                 "DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"})
            environment_.remove(name);
    }

    virtual bool start() = 0;

    QString path(const QString& name) const { return directory_.filePath(name); }

    void write(const QString& name, const QString& text) const {
        QDir(directory_.path()).mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(text.toUtf8());
    }

    /// Starts a program; the socket, when there is one to wait for, shows that it is up.
    bool startOne(const QString& program, const QStringList& arguments, const QString& socket = {}) {
        if (!socket.isEmpty())
            QFile::remove(path(socket));
        auto& process = processes_.emplace_back(std::make_unique<QProcess>());
        process->setProcessEnvironment(environment_);
        process->setProcessChannelMode(QProcess::MergedChannels);
        endWithParent(*process);
        process->start(program, arguments);
        if (!process->waitForStarted() || socket.isEmpty())
            return process->state() == QProcess::Running;
        waitFor([&] { return takesConnections(path(socket)) || process->state() == QProcess::NotRunning; });
        return process->state() == QProcess::Running && takesConnections(path(socket));
    }

    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    std::vector<std::unique_ptr<QProcess>> processes_;

private:
    const QString socket_;
    const QTemporaryDir directory_;
    bool ready_ = false;
};

} // namespace parlowen::testing
