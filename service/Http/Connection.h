#pragma once

#include "OpenConnections.h"
#include "RequestHead.h"
#include "Router.h"
#include "Server.h"

#include <boost/asio/ip/tcp.hpp>
#include <optional>

namespace parlowen::service {

/// What all connections of a server share. It outlives them.
struct ConnectionContext {
    const ServerLimits limits;
    const HeadRules rules;
    const Router router;
    std::optional<boost::asio::ssl::context> tls; ///< none: plain HTTP
    boost::asio::any_io_executor workers;
    boost::asio::any_io_executor slowWorkers;
};

/// Serves one client from its TLS handshake, where there is one, to its end. Never throws.
boost::asio::awaitable<void> serveConnection(ConnectionContext& context, boost::asio::ip::tcp::socket socket,
                                             std::unique_ptr<OpenConnections::Place> place);

} // namespace parlowen::service
