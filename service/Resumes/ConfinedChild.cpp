#include "ConfinedChild.h"

#include "ConfinedReader.h"
#include "Http/Log.h"
#include "Process/ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;
using End = ReaderOutput::End;

/// The program that becomes the confined child.
std::filesystem::path readingProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "parlowen-service";
}

/// Takes all that comes from a child until it ends; whether it did so within the limits.
bool takeAll(int socket, const ReaderLimits& limits, std::string& bytes) {
    std::array<char, std::size_t{64} * 1024> piece{};
    while (bytes.size() <= limits.bytes) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limits.deadline - Clock::now());
        pollfd readable{socket, POLLIN, 0};
        const int ready = left.count() > 0 ? ::poll(&readable, 1, static_cast<int>(left.count())) : 0;
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        const ssize_t count = ::recv(socket, piece.data(), piece.size(), 0);
        if (count <= 0)
            return true;
        bytes.append(piece.data(), static_cast<std::size_t>(count));
    }
    return false;
}

End endOf(const ChildEnd& end) {
    if (end.signal != 0) {
        logLine("a file's reader was ended by signal " + std::to_string(end.signal));
        return End::LimitExceeded;
    }
    if (end.status == 0)
        return End::Done;
    switch (static_cast<ReaderExit>(end.status)) {
    case ReaderExit::TooLarge:
        return End::LimitExceeded;
    case ReaderExit::WrongType:
        return End::WrongType;
    case ReaderExit::CannotStart:
        return End::Unavailable;
    default:
        return End::Damaged;
    }
}

} // namespace

ReaderOutput readInConfinedChild(const std::filesystem::path& file, const std::vector<std::string>& program,
                                 const ReaderLimits& limits, const std::stop_token& stop) {
    std::vector<std::string> command{readingProgram().string(), confinedReaderOption, file.string()};
    command.insert(command.end(), program.begin(), program.end());
    const auto child = stop.stop_requested() ? std::nullopt : ChildProcess::start(std::move(command));
    if (!child)
        return {End::Unavailable, {}};
    ReaderOutput output;
    bool isWithin = false;
    {
        const std::stop_callback kill(stop, [&child] { child->signal(SIGKILL); });
        isWithin = takeAll(child->socket(), limits, output.bytes);
        if (!isWithin)
            child->signal(SIGKILL);
    }
    ::close(child->socket());
    const ChildEnd end = child->end(std::chrono::seconds(1));
    if (stop.stop_requested())
        output.end = End::Unavailable;
    else
        output.end = isWithin ? endOf(end) : End::LimitExceeded;
    return output;
}

} // namespace parlowen::service
