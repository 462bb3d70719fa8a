#pragma once

#include "ChildProcess.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

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

private:
    using Clock = std::chrono::steady_clock;

    explicit ChildPipe(const ChildProcess& started)
        : process(started)
        , socket(started.socket()) {}
    bool send(std::string_view bytes) const;
    /// What comes next; empty when nothing does until the deadline, or no more ever.
    std::string receive(Clock::time_point deadline) const;

    const ChildProcess process;
    const int socket;
};

} // namespace parlowen::service
