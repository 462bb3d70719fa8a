#include "UnixSignals.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <utility>

namespace parlowen {

namespace {

std::array<int, 2> wakeSockets{-1, -1};

constexpr std::array<int, 3> handled{SIGINT, SIGTERM, SIGHUP};

// Only what is safe in a handler: one byte wakes the event loop.
void wake(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeSockets[0], &byte, 1);
}

} // namespace

UnixSignals::UnixSignals(std::function<void()> terminate)
    : terminate_(std::move(terminate)) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, wakeSockets.data()) != 0)
        return;
    notifier_ = new QSocketNotifier(wakeSockets[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (::read(wakeSockets[1], &byte, 1) > 0) {
        }
        terminate_();
    });
    struct sigaction action {};
    action.sa_handler = wake;
    action.sa_flags = SA_RESTART;
    for (const int number : handled) {
        struct sigaction before {};
        ::sigaction(number, &action, &before);
        if (number == SIGHUP && before.sa_handler == SIG_IGN)
            ::sigaction(number, &before, nullptr);
    }
}

UnixSignals::~UnixSignals() {
    for (const int number : handled) {
        if (std::signal(number, SIG_DFL) == SIG_IGN)
            std::signal(number, SIG_IGN);
    }
    for (int& socket : wakeSockets) {
        ::close(socket);
        socket = -1;
    }
}

} // namespace parlowen
