#include "OpenConnections.h"

#include <sys/socket.h>

namespace parlowen::service {

std::unique_ptr<OpenConnections::Place> OpenConnections::enter(int socket) {
    const std::lock_guard lock(mutex_);
    if (sockets_.size() >= most_)
        return nullptr;
    const std::size_t id = nextId_++;
    sockets_.emplace(id, socket);
    return std::make_unique<Place>(*this, id);
}

void OpenConnections::leave(std::size_t id) {
    const std::lock_guard lock(mutex_);
    sockets_.erase(id);
    changed_.notify_all();
}

void OpenConnections::endAll() {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, socket] : sockets_)
        ::shutdown(socket, SHUT_RD);
}

bool OpenConnections::waitUntilNone(std::chrono::milliseconds bound) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, bound, [this] { return sockets_.empty(); });
}

} // namespace parlowen::service
