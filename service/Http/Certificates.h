#pragma once

#include <boost/asio/ssl/context.hpp>
#include <filesystem>
#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// A deleter that calls a C function.
template<auto Function>
struct FreeWith {
    template<typename T>
    void operator()(T* pointer) const {
        Function(pointer);
    }
};

using KeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, FreeWith<X509_free>>;

struct Identity {
    KeyPtr key;
    CertificatePtr certificate;
};

/// A certificate authority of its own (EC P-256), which can vouch for the loopback names alone.
Identity makeAuthority(int validDays = 3650);
/// A certificate for 127.0.0.1, ::1 and localhost, signed by the authority.
Identity makeServerIdentity(const Identity& authority, int validDays = 397);

std::string toPem(X509& certificate);
std::string toPem(EVP_PKEY& key);
/// Null when the text is no PEM of that kind.
CertificatePtr certificateFromPem(std::string_view pem);
KeyPtr keyFromPem(std::string_view pem);

/// Whole days until the certificate ends; negative once it has.
int daysLeft(const X509& certificate);
bool belongTogether(const Identity& identity);
bool isSignedBy(const Identity& identity, const Identity& authority);

} // namespace parlowen::service
