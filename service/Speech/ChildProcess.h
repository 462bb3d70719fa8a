#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace parlowen::service {

/// How a child process ended.
struct ChildEnd {
    int status = 0; ///< of its exit; meaningless after a signal
    int signal = 0; ///< 0: it ended by itself
};

/// A child process at the head of a group of its own, whose standard input and output are one socket.
class ChildProcess {
public:
    /// Runs a program found on the PATH in an UTF-8 locale. `errors` takes its error output; -1 drops it. None when it
    /// cannot be started. Every other descriptor of this process is closed in it.
    static std::optional<ChildProcess> start(std::vector<std::string> command, int errors = -1);

    /// This side of the socket: the caller's to close.
    int socket() const { return descriptor; }
    int id() const { return group; }
    /// Sends a signal to all of the group.
    void signal(int number) const;
    /// Waits for its end; after the limit it is killed.
    ChildEnd end(std::chrono::milliseconds limit) const;

private:
    ChildProcess(pid_t leader, int socketToIt)
        : group(leader)
        , descriptor(socketToIt) {}

    pid_t group;
    int descriptor;
};

} // namespace parlowen::service
