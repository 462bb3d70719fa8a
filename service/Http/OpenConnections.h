#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

namespace parlowen::service {

/// The connections of a server, by their sockets: counted, limited, and told to end. Thread-safe.
class OpenConnections {
public:
    explicit OpenConnections(std::size_t most)
        : most_(most) {}

    /// Keeps its connection's place for as long as it exists, which is longer than the socket is open.
    class Place {
    public:
        Place(OpenConnections& all, std::size_t id)
            : all_(&all)
            , id_(id) {}
        ~Place() { all_->leave(id_); }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

    private:
        OpenConnections* all_;
        std::size_t id_;
    };

    /// Null when there are too many.
    std::unique_ptr<Place> enter(int socket);
    /// Ends the reading side of every socket, so that each connection finishes what it writes and closes.
    void endAll();
    /// Whether the last one was gone within the bound.
    bool waitUntilNone(std::chrono::milliseconds bound);

private:
    void leave(std::size_t id);

    const std::size_t most_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t nextId_ = 0;
    std::map<std::size_t, int> sockets_;
};

} // namespace parlowen::service
