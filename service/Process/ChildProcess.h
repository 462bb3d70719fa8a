#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace parlowen::service {

/// How a child process ended.
struct ChildEnd {
    int status = 0;      ///< of its exit; meaningless after a signal
    int signal = 0;      ///< 0: it ended by itself
    bool isLate = false; ///< it was killed when its time was over
};

/// A child process at the head of a group of its own, whose standard input and output are one socket.
class ChildProcess {
public:
    /// Runs a program found on the PATH in an UTF-8 locale. `errors` takes its error output; -1 drops it. None when it
    /// cannot be started. Every other descriptor of this process is closed in it.
    static std::optional<ChildProcess> start(std::vector<std::string> command, int errors = -1);

    /// This side of the socket: the caller's to close.
    int socket() const { return descriptor_; }
    int id() const { return group_; }
    /// Sends a signal to all of the group.
    void signal(int number) const;
    /// Waits for its end; after the limit it is killed.
    ChildEnd end(std::chrono::milliseconds limit) const;

private:
    ChildProcess(pid_t leader, int socketToIt)
        : group_(leader)
        , descriptor_(socketToIt) {}

    pid_t group_;
    int descriptor_;
};

/// The last line of what a child has written to the file, its error output, as far as it lies in the last 400 bytes;
/// empty where there is none.
std::string lastLineOf(int file);

/// A child process, with all that it starts, whose standard input and output are one pipe that carries NUL-ended texts.
class ChildPipe {
public:
    /// Runs a program found on the PATH in an UTF-8 locale; null when it cannot be started. Its error output is
    /// dropped.
    static std::unique_ptr<ChildPipe> start(const std::vector<std::string>& command);
    /// Ends the process and all that it started; what does not end by itself is killed.
    ~ChildPipe();
    ChildPipe(const ChildPipe&) = delete;
    ChildPipe& operator=(const ChildPipe&) = delete;

    /// Sends a text, without a NUL in it, and waits for the answer. None when the process ended, answered too much or
    /// took too long: it is of no use any more then.
    std::optional<std::string> ask(std::string_view text, std::chrono::milliseconds limit);
    /// Has an ask() that runs come to nothing. Any thread.
    void giveUp() const;

private:
    using Clock = std::chrono::steady_clock;

    explicit ChildPipe(const ChildProcess& started)
        : process_(started)
        , socket_(started.socket()) {}
    bool send(std::string_view bytes) const;
    /// What comes next; empty when nothing does until the deadline, or no more ever.
    std::string receive(Clock::time_point deadline) const;

    const ChildProcess process_;
    const int socket_;
};

/// Keeps a variable of the environment, such as one that holds a key, from every program that is started from here on.
/// Before other threads begin.
void withholdFromChildren(const std::string& variable);

} // namespace parlowen::service
