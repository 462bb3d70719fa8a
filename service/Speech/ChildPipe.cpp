#include "ChildPipe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

constexpr std::size_t longestAnswer = 1 << 20;
constexpr std::chrono::milliseconds patience{300}; // for the programs to end

} // namespace

std::unique_ptr<ChildPipe> ChildPipe::start(const std::vector<std::string>& command) {
    const auto process = ChildProcess::start(command);
    return process ? std::unique_ptr<ChildPipe>(new ChildPipe(*process)) : nullptr;
}

ChildPipe::~ChildPipe() {
    // The end of the input ends the programs one after the other; only what hangs is killed.
    shutdown(socket, SHUT_WR);
    const auto deadline = Clock::now() + patience;
    while (!receive(deadline).empty()) {
    }
    process.signal(SIGKILL);
    close(socket);
    process.end({});
}

bool ChildPipe::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const auto sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
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
        pollfd readable{socket, POLLIN, 0};
        const int ready = poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(0, left.count())));
        if (ready < 0 && errno == EINTR)
            continue;
        const auto count = ready > 0 ? recv(socket, buffer.data(), buffer.size(), 0) : 0;
        return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(0, count))};
    }
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
