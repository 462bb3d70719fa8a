#pragma once

#include "Http/Certificates.h"
#include "Http/Server.h"
#include "Program/Service.h"
#include "ServiceClient.h"
#include "TemporaryDirectory.h"

namespace parlowen::testing {

/// Something that serves on a free port in this process, with a data directory of its own.
template<typename Server>
class Running {
public:
    void stop() { server_.reset(); }
    std::uint16_t port() const { return server_->port(); }
    std::filesystem::path data() const { return directory_.path() / "data"; }
    std::filesystem::path authorityFile() const { return data() / "tls" / "ca.pem"; }
    std::string authority() const { return contentsOf(authorityFile()); }
    ServiceClient client() const { return {port(), authorityFile()}; }

protected:
    TemporaryDirectory directory_;
    std::unique_ptr<Server> server_;
};

/// A server with a router of the test's own.
struct RunningServer : Running<service::Server> {
    explicit RunningServer(service::Router router, const service::ServerLimits& limits = {}) {
        server_ = std::make_unique<service::Server>(service::Server::Options{.limits = limits},
                                                    service::prepareTls(data() / "tls"), std::move(router));
        server_->start();
    }
};

inline service::ServiceOptions makingAccounts() {
    service::ServiceOptions options;
    options.createAccounts = true;
    return options;
}

/// The whole service.
class RunningService : public Running<service::Service> {
public:
    explicit RunningService(const service::Service::Tuning& tuning = {}, service::ChatEndpoint model = {},
                            service::ServiceOptions options = makingAccounts())
        : tuning_(tuning)
        , options_(std::move(options)) {
        options_.chat = std::move(model);
        start();
    }

    void start() {
        service::ServiceOptions options = options_;
        options.captchaPort = 0;
        options.port = 0;
        options.data = data();
        for (int tries = 1; !server_; ++tries) {
            try {
                server_ = std::make_unique<service::Service>(options, tuning_);
            } catch (const service::AddressInUse&) {
                if (tries == 5)
                    throw; // else somebody had the next port, which is the captcha page's
            }
        }
    }
    /// Of the captcha's page; empty where nobody signs in by code.
    const std::string& captchaUrl() const { return server_->captchaUrl(); }
    Reply signIn(const std::string& phone = "13800000001", const std::string& password = "secret-1") const {
        return client().post("/api/v1/user/account/login",
                             {{"country_code", "86"}, {"phone", phone}, {"password", password}});
    }
    /// A token of a user who signed in.
    std::string token() const { return signIn().data().at("token").get<std::string>(); }

private:
    service::Service::Tuning tuning_;
    service::ServiceOptions options_;
};

} // namespace parlowen::testing
