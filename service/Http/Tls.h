#pragma once

#include <boost/asio/ssl/context.hpp>
#include <filesystem>
#include <stdexcept>

namespace parlowen::service {

/// TLS files that cannot be used; the message names the file and what to do.
struct TlsError : std::runtime_error {
    using runtime_error::runtime_error;
};

/// The service's certificates, all of mode 0600: `ca.pem` (what a client trusts), `ca.key`, `server.pem`, `server.key`.
///
/// Makes those that are missing, and new ones in place of those that near their end. Returns the server's side of TLS
/// (1.2 or newer). Throws TlsError for a file that is garbage, std::system_error when one cannot be read or written.
boost::asio::ssl::context prepareTls(const std::filesystem::path& directory);

} // namespace parlowen::service
