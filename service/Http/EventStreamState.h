#pragma once

#include "EventStream.h"
#include "Server.h"
#include "TlsStream.h"

#include <boost/asio/steady_timer.hpp>

namespace parlowen::service {

/// What the handler's side, the comments and the watch for the client's end share.
struct EventStream::State {
    State(TlsStream connection, const ServerLimits& serverLimits, bool inChunks);

    /// Sends the head of the response, then watches the client and comments until `end`.
    static boost::asio::awaitable<void> begin(std::shared_ptr<State> state);
    /// Sends the last chunk and closes the connection.
    static boost::asio::awaitable<void> end(std::shared_ptr<State> state);
    boost::asio::awaitable<bool> send(std::string_view bytes);
    boost::asio::awaitable<bool> wait(std::chrono::milliseconds duration);

    TlsStream stream;
    const ServerLimits limits;
    const bool chunked; ///< false for HTTP/1.0, whose body ends with the connection
    bool gone = false;

private:
    boost::asio::awaitable<void> write(std::string bytes);
    boost::asio::awaitable<void> lockWriting();
    void unlockWriting();
    void clientWent();
    static boost::asio::awaitable<void> watchClient(std::shared_ptr<State> state);
    static boost::asio::awaitable<void> comment(std::shared_ptr<State> state);
    static boost::asio::awaitable<void> run(std::shared_ptr<State> state,
                                            boost::asio::awaitable<void> (*task)(std::shared_ptr<State>));

    bool writing = false;
    bool ending = false;
    int tasks = 0;
    std::chrono::steady_clock::time_point lastSent;
    boost::asio::steady_timer changed; ///< cancelled when `writing` or `tasks` change
    boost::asio::steady_timer pause;   ///< the handler's wait
    boost::asio::steady_timer quiet;   ///< the time until the next comment
};

} // namespace parlowen::service
