#pragma once

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <memory>
#include <string_view>

namespace parlowen::service {

/// A reply that grows: the body of a `text/event-stream` response, in chunks. While nothing is sent for a while,
/// a comment line ": wait" goes out by itself. Everything here runs on the connection's own executor.
class EventStream {
public:
    struct State;
    explicit EventStream(std::shared_ptr<State> state);

    /// Sends bytes at once; false when the client has gone away.
    boost::asio::awaitable<bool> send(std::string_view bytes);
    /// Waits for that long; false, and at once, when the client has gone away.
    boost::asio::awaitable<bool> wait(std::chrono::milliseconds duration);
    bool clientGone() const;

private:
    std::shared_ptr<State> state_;
};

} // namespace parlowen::service
