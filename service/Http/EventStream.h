#pragma once

#include "TlsStream.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace parlowen::service {

/// How long the end of a connection may take.
inline constexpr std::chrono::seconds closingTime{2};

/// A reply that grows: the body of a `text/event-stream` response, in chunks. While nothing is sent for a while,
/// a comment line ": wait" goes out by itself. Everything here runs on the connection's own executor.
class EventStream : public std::enable_shared_from_this<EventStream> {
public:
    struct Limits {
        std::chrono::milliseconds write;   ///< for one piece to be taken
        std::chrono::milliseconds comment; ///< how long nothing is sent before a comment goes out
    };
    /// `inChunks` is false for HTTP/1.0, whose body ends with the connection. Lives in a shared_ptr.
    EventStream(TlsStream connection, Limits limits, bool inChunks);

    /// Sends the head of the response, then watches the client and comments until end().
    boost::asio::awaitable<void> begin();
    /// Sends bytes at once; false when the client has gone away.
    boost::asio::awaitable<bool> send(std::string_view bytes);
    /// Has that called once when the client goes; at once where it has gone.
    void whenGone(std::function<void()> act);
    /// Sends the last chunk and closes the connection.
    boost::asio::awaitable<void> end();

private:
    boost::asio::awaitable<void> write(std::string bytes);
    boost::asio::awaitable<void> lockWriting();
    void unlockWriting();
    void clientWent();
    void start(boost::asio::awaitable<void> task);
    boost::asio::awaitable<void> watchClient();
    boost::asio::awaitable<void> comment();

    TlsStream stream_;
    const Limits limits_;
    const bool chunked_;
    bool gone_ = false;
    std::function<void()> whenGone_;
    bool writing_ = false;
    bool ending_ = false;
    int tasks_ = 0;
    std::chrono::steady_clock::time_point lastSent_;
    boost::asio::steady_timer changed_; ///< cancelled when `writing_` or `tasks_` change
    boost::asio::steady_timer quiet_;   ///< the time until the next comment
};

} // namespace parlowen::service
