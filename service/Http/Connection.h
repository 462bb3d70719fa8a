#pragma once

#include "Router.h"
#include "Server.h"

#include <boost/asio/ip/tcp.hpp>

namespace parlowen::service {

/// What all connections of a server share. It outlives them.
struct ConnectionContext {
    const ServerLimits limits;
    const Router router;
    boost::asio::ssl::context tls;
    boost::asio::any_io_executor workers;
    boost::asio::any_io_executor slowWorkers;
};

/// Serves one client from its TLS handshake to its end. Never throws.
boost::asio::awaitable<void> serveConnection(ConnectionContext& context, boost::asio::ip::tcp::socket socket);

} // namespace parlowen::service
