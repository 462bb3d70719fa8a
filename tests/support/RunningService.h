#pragma once

#include "Http/Server.h"
#include "Program/Service.h"
#include "ServiceClient.h"
#include "TemporaryDirectory.h"

namespace parlowen::testing {

/// The whole service, in this process, on a free port, with a data directory of its own.
class RunningService {
public:
    explicit RunningService(const service::Service::Tuning& tuning = {})
        : tuning_(tuning) {
        start();
    }

    void stop() { service_.reset(); }
    void start() {
        service::ServiceOptions options;
        options.port = 0;
        options.data = directory_.path() / "data";
        service_ = std::make_unique<service::Service>(options, tuning_);
    }

    std::uint16_t port() const { return service_->port(); }
    std::filesystem::path data() const { return directory_.path() / "data"; }
    std::string authority() const { return contentsOf(data() / "tls" / "ca.pem"); }
    ServiceClient client() const { return {port(), authority()}; }

    Reply signIn(const std::string& phone = "13800000001", const std::string& password = "secret-1") const {
        return client().post("/api/v1/user/account/login",
                             {{"country_code", "86"}, {"phone", phone}, {"password", password}});
    }
    /// A token of a user who signed in.
    std::string token() const { return signIn().data().at("token").get<std::string>(); }

private:
    TemporaryDirectory directory_;
    service::Service::Tuning tuning_;
    std::unique_ptr<service::Service> service_;
};

} // namespace parlowen::testing
