#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QFile>
#include <QString>
#include <algorithm>

namespace parlowen::testing {

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
class PrivateAudioServer {
public:
    virtual ~PrivateAudioServer() = default;

    virtual bool isReady() const = 0;
    /// The server's address, as PULSE_SERVER has it.
    virtual QString address() const = 0;
    /// What the server has said, to explain a failure.
    virtual QString output() = 0;
    /// Ends the server at once, as a crash would.
    virtual void kill() = 0;
    /// Ends it at once and starts it again: same address, same modules. False when it does not come up.
    virtual bool restart() = 0;
};

} // namespace parlowen::testing
