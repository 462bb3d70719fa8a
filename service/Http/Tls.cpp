#include "Tls.h"

#include "Certificates.h"
#include "Log.h"
#include "PrivateFiles.h"

#include <optional>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;

constexpr int authorityRenewalDays = 60;
constexpr int serverRenewalDays = 30;

struct Files {
    fs::path certificate;
    fs::path key;
};

[[noreturn]] void unusable(const fs::path& file, const Files& pair) {
    throw TlsError(file.string() + " cannot be used. Remove " + pair.certificate.string() + " and " +
                   pair.key.string() + " to have new ones made.");
}

/// What the two files hold; none when the certificate, or both, are missing. The certificate is always written last,
/// so a key alone is what a first start that was cut short left behind.
std::optional<Identity> load(const Files& files) {
    const auto certificate = readPrivateFile(files.certificate);
    const auto key = readPrivateFile(files.key);
    if (!certificate)
        return std::nullopt;
    Identity identity{key ? keyFromPem(*key) : nullptr, certificateFromPem(*certificate)};
    if (!identity.certificate)
        unusable(files.certificate, files);
    if (!identity.key)
        unusable(files.key, files);
    return identity;
}

void store(const Identity& identity, const Files& files) {
    writePrivateFile(files.key, toPem(*identity.key));
    writePrivateFile(files.certificate, toPem(*identity.certificate));
}

Identity authorityIn(const Files& files) {
    if (auto known = load(files)) {
        if (!belongTogether(*known))
            unusable(files.key, files);
        if (daysLeft(*known->certificate) > authorityRenewalDays)
            return std::move(*known);
    }
    Identity made = makeAuthority();
    store(made, files);
    logLine("made a certificate authority: " + files.certificate.string());
    return made;
}

Identity serverIdentityIn(const Files& files, const Identity& authority) {
    if (auto known = load(files)) {
        const bool sound = belongTogether(*known) && isSignedBy(*known, authority);
        if (sound && daysLeft(*known->certificate) > serverRenewalDays)
            return std::move(*known);
    }
    Identity made = makeServerIdentity(authority);
    store(made, files);
    logLine("made a server certificate: " + files.certificate.string());
    return made;
}

} // namespace

boost::asio::ssl::context prepareTls(const fs::path& directory) {
    makePrivateDirectory(directory);
    const DirectoryLock lock(directory);
    const Identity authority = authorityIn({directory / "ca.pem", directory / "ca.key"});
    const Identity server = serverIdentityIn({directory / "server.pem", directory / "server.key"}, authority);

    namespace ssl = boost::asio::ssl;
    ssl::context context(ssl::context::tls_server);
    context.set_options(ssl::context::default_workarounds | ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1);
    const std::string chain = toPem(*server.certificate);
    const std::string key = toPem(*server.key);
    context.use_certificate_chain(boost::asio::buffer(chain));
    context.use_private_key(boost::asio::buffer(key), ssl::context::pem);
    return context;
}

} // namespace parlowen::service
