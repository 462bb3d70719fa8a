#include "ChildProcess.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <set>
#include <spawn.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds lookEvery{2};
constexpr std::size_t keptErrors = 400;
constexpr std::size_t longestAnswer = 1 << 20;
constexpr std::chrono::milliseconds patience{300}; // for the programs of a pipe to end

std::set<std::string, std::less<>> withheld; // set before there are threads

std::vector<std::string> utf8Environment() {
    std::vector<std::string> result;
    for (char** entry = environ; *entry; ++entry) {
        const std::string_view variable(*entry);
        if (!variable.starts_with("LC_") && !withheld.contains(variable.substr(0, variable.find('='))))
            result.emplace_back(variable);
    }
    result.emplace_back("LC_ALL=C.UTF-8");
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

/// -1 when that fails.
pid_t spawnOn(int socket, int errors, std::vector<std::string> command) {
    auto environment = utf8Environment();
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, socket, STDOUT_FILENO);
    if (errors >= 0)
        posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1); // the service's own sockets and files
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    pid_t process = -1;
    const int error = posix_spawnp(&process, command.front().c_str(), &actions, &attributes, pointersTo(command).data(),
                                   pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? process : -1;
}

} // namespace

void withholdFromChildren(const std::string& variable) { withheld.insert(variable); }

std::optional<ChildProcess> ChildProcess::start(std::vector<std::string> command, int errors) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return std::nullopt;
    const pid_t process = spawnOn(ends[1], errors, std::move(command));
    close(ends[1]);
    if (process < 0) {
        close(ends[0]);
        return std::nullopt;
    }
    return ChildProcess(process, ends[0]);
}

void ChildProcess::signal(int number) const { kill(-group_, number); }

ChildEnd ChildProcess::end(std::chrono::milliseconds limit) const {
    const auto deadline = Clock::now() + limit;
    int status = 0;
    pid_t found = 0;
    while ((found = waitpid(group_, &status, WNOHANG)) == 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(lookEvery);
    const bool isLate = found == 0;
    signal(SIGKILL); // what it started may still run
    while (found == 0 && waitpid(group_, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? ChildEnd{0, WTERMSIG(status), isLate} : ChildEnd{WEXITSTATUS(status), 0};
}

std::unique_ptr<ChildPipe> ChildPipe::start(const std::vector<std::string>& command) {
    const auto process = ChildProcess::start(command);
    return process ? std::unique_ptr<ChildPipe>(new ChildPipe(*process)) : nullptr;
}

ChildPipe::~ChildPipe() {
    // The end of the input ends the programs one after the other; only what hangs is killed.
    shutdown(socket_, SHUT_WR);
    const auto deadline = Clock::now() + patience;
    while (!receive(deadline).empty()) {
    }
    process_.signal(SIGKILL);
    close(socket_);
    process_.end({});
}

bool ChildPipe::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const auto sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::string ChildPipe::receive(Clock::time_point deadline) const {
    std::array<char, 4096> buffer{};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd readable{socket_, POLLIN, 0};
        const int ready = poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(0, left.count())));
        if (ready < 0 && errno == EINTR)
            continue;
        const auto count = ready > 0 ? recv(socket_, buffer.data(), buffer.size(), 0) : 0;
        return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(0, count))};
    }
}

void ChildPipe::giveUp() const { shutdown(socket_, SHUT_RDWR); }

std::string lastLineOf(int file) {
    std::string text(keptErrors, '\0');
    const auto size = lseek(file, 0, SEEK_END);
    const auto count = pread(file, text.data(), text.size(), std::max<off_t>(0, size - off_t{keptErrors}));
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

std::optional<std::string> ChildPipe::ask(std::string_view text, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    if (!send(std::string(text) + '\0'))
        return std::nullopt;
    std::string answer;
    while (!answer.ends_with('\0')) {
        const auto piece = receive(deadline);
        if (piece.empty() || answer.size() > longestAnswer)
            return std::nullopt;
        answer += piece;
    }
    answer.pop_back();
    return answer;
}

} // namespace parlowen::service
