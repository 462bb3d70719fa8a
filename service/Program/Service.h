#pragma once

#include "Accounts/CodeDelivery.h"
#include "Options.h"

#include <functional>
#include <memory>
#include <stdexcept>

namespace parlowen::service {

struct ServerLimits;
struct SpeechService;

/// Another service runs on the data directory. Its file `port` says where.
class DirectoryInUse : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The whole service: opens its files, listens, serves until it is destroyed.
class Service {
public:
    /// What tests and benchmarks choose themselves.
    struct Tuning {
        std::shared_ptr<const ServerLimits> limits{};             ///< null: the usual ones
        std::function<std::unique_ptr<SpeechService>()> speech{}; ///< empty: the engines that this machine has
        CodeDelivery deliver{};                                   ///< empty: what the options say
    };

    /// Throws std::exception with a plain message when the service cannot start; an address in use is a
    /// boost::system::system_error.
    explicit Service(const ServiceOptions& options)
        : Service(options, Tuning{}) {}
    Service(const ServiceOptions& options, const Tuning& tuning);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    std::uint16_t port() const;
    /// Such as "https://127.0.0.1:47615".
    const std::string& url() const { return url_; }
    /// Such as "http://127.0.0.1:47616/"; empty where nobody signs in by code.
    const std::string& captchaUrl() const { return captchaUrl_; }

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
    std::string url_;
    std::string captchaUrl_;
};

/// The version that --version shows.
std::string serviceVersion();

} // namespace parlowen::service
