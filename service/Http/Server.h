#pragma once

#include "Router.h"

#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace parlowen::service {

/// What one client may use up. A stage that takes longer ends the connection.
struct ServerLimits {
    std::size_t headerBytes = 8'192;
    std::size_t connections = 512;
    std::size_t connectionsOfAPeer = 256; ///< which a proxy does not count as
    std::size_t reserve = 64;             ///< of the connections, for those who have signed in
    std::size_t connectionsOfAUser = 32;
    std::chrono::milliseconds handshake{10'000};
    std::chrono::milliseconds idle{60'000}; ///< between two requests
    std::chrono::milliseconds header{10'000};
    std::chrono::milliseconds body{30'000};
    std::chrono::milliseconds upload{120'000}; ///< for a body that does not go into memory
    std::chrono::milliseconds write{30'000};
    std::chrono::milliseconds streamComment{15'000}; ///< how long an event stream is quiet before a comment goes out
};

/// Another program listens there.
struct AddressInUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Throws AddressInUse where another program listens at the address.
void requireFree(const boost::asio::ip::address& address, std::uint16_t port);

/// "127.0.0.1:80", "[::1]:80".
std::string authorityOf(const boost::asio::ip::address& address, std::uint16_t port);

/// The HTTPS server, or without TLS one for pages in plain HTTP: connections run as coroutines, each on a strand of a
/// few threads.
class Server {
public:
    struct Options {
        boost::asio::ip::address address = boost::asio::ip::make_address("127.0.0.1");
        std::uint16_t port = 0; ///< 0: any free one
        int threads = 2;
        ServerLimits limits = {};
        std::vector<std::string> hosts = {};                ///< that may be asked for beside the loopback names
        std::vector<boost::asio::ip::address> proxies = {}; ///< whose word on the peer counts
    };

    Server(Options options, std::optional<boost::asio::ssl::context> tls, Router router);
    ~Server(); ///< stops
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Opens the port and returns; throws AddressInUse, or boost::system::system_error.
    void start();
    /// Ends all connections; returns once no handler runs any more. Coroutines that wait are freed with the server.
    void stop();
    /// The port that is listened on, once started.
    std::uint16_t port() const;

private:
    struct Core;
    std::unique_ptr<Core> core_;
};

} // namespace parlowen::service
