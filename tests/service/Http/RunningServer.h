#pragma once

#include "Http/Server.h"
#include "Http/Tls.h"
#include "support/ServiceClient.h"
#include "support/TemporaryDirectory.h"

namespace parlowen::testing {

/// A server with a router of the test's own.
class RunningServer {
public:
    explicit RunningServer(service::Router router, const service::ServerLimits& limits = {})
        : server_({.limits = limits}, service::prepareTls(directory_.path() / "tls"), std::move(router)) {
        server_.start();
    }

    std::uint16_t port() const { return server_.port(); }
    std::string authority() const { return contentsOf(directory_.path() / "tls" / "ca.pem"); }
    ServiceClient client() const { return {port(), authority()}; }
    void stop() { server_.stop(); }

private:
    TemporaryDirectory directory_;
    service::Server server_;
};

} // namespace parlowen::testing
