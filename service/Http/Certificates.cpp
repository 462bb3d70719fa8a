#include "Certificates.h"

#include "Log.h"
#include "PrivateFiles.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <optional>
#include <stdexcept>

namespace parlowen::service {

namespace {

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;
using NumberPtr = std::unique_ptr<BIGNUM, FreeWith<BN_free>>;

constexpr long secondsOfADay = 24L * 60 * 60;

void require(bool done, const char* what) {
    if (!done)
        throw std::runtime_error(std::string("cannot make a certificate: ") + what);
}

KeyPtr makeKey() {
    KeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    require(key != nullptr, "key");
    return key;
}

void setSerial(X509& certificate) {
    const NumberPtr number(BN_new());
    require(number && BN_rand(number.get(), 127, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY) == 1, "serial number");
    require(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(&certificate)) != nullptr, "serial number");
}

void setSubject(X509& certificate, const char* commonName) {
    X509_NAME* name = X509_get_subject_name(&certificate);
    const auto* text = reinterpret_cast<const unsigned char*>(commonName);
    require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1, "name");
}

void setDates(X509& certificate, int validDays) {
    // A day back, for clocks that are a little off.
    require(X509_gmtime_adj(X509_getm_notBefore(&certificate), -secondsOfADay) != nullptr, "start");
    require(X509_time_adj_ex(X509_getm_notAfter(&certificate), validDays, 0, nullptr) != nullptr, "end");
}

void addExtension(X509& certificate, X509& issuer, int kind, const char* value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, &issuer, &certificate, nullptr, nullptr, 0);
    const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    require(extension && X509_add_ext(&certificate, extension.get(), -1) == 1, value);
}

CertificatePtr blankCertificate(EVP_PKEY& key, const char* commonName, int validDays) {
    CertificatePtr certificate(X509_new());
    require(certificate && X509_set_version(certificate.get(), X509_VERSION_3) == 1, "version");
    setSerial(*certificate);
    setSubject(*certificate, commonName);
    setDates(*certificate, validDays);
    require(X509_set_pubkey(certificate.get(), &key) == 1, "public key");
    return certificate;
}

void sign(X509& certificate, X509& issuer, EVP_PKEY& issuerKey) {
    require(X509_set_issuer_name(&certificate, X509_get_subject_name(&issuer)) == 1, "issuer");
    require(X509_sign(&certificate, &issuerKey, EVP_sha256()) > 0, "signature");
}

std::string contents(BIO& bio) {
    char* data = nullptr;
    const auto length = BIO_ctrl(&bio, BIO_CTRL_INFO, 0, &data);
    return {data, static_cast<std::size_t>(length)};
}

int noPassword(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*data*/) { return -1; }

} // namespace

Identity makeAuthority(int validDays) {
    Identity authority{makeKey(), {}};
    authority.certificate = blankCertificate(*authority.key, "Parlowen local authority", validDays);
    X509& certificate = *authority.certificate;
    addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
    addExtension(certificate, certificate, NID_name_constraints,
                 "critical,permitted;IP:127.0.0.1/255.255.255.255,"
                 "permitted;IP:0:0:0:0:0:0:0:1/FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF,permitted;DNS:localhost");
    sign(certificate, certificate, *authority.key);
    return authority;
}

Identity makeServerIdentity(const Identity& authority, int validDays) {
    Identity server{makeKey(), {}};
    server.certificate = blankCertificate(*server.key, "parlowen-service", validDays);
    X509& certificate = *server.certificate;
    X509& issuer = *authority.certificate;
    addExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature");
    addExtension(certificate, issuer, NID_ext_key_usage, "serverAuth");
    addExtension(certificate, issuer, NID_subject_alt_name, "IP:127.0.0.1,IP:0:0:0:0:0:0:0:1,DNS:localhost");
    addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    addExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
    sign(certificate, issuer, *authority.key);
    return server;
}

std::string toPem(X509& certificate) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    require(bio && PEM_write_bio_X509(bio.get(), &certificate) == 1, "PEM");
    return contents(*bio);
}

std::string toPem(EVP_PKEY& key) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    require(bio && PEM_write_bio_PKCS8PrivateKey(bio.get(), &key, nullptr, nullptr, 0, nullptr, nullptr) == 1, "PEM");
    return contents(*bio);
}

CertificatePtr certificateFromPem(std::string_view pem) {
    const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    CertificatePtr certificate(PEM_read_bio_X509(bio.get(), nullptr, noPassword, nullptr));
    ERR_clear_error();
    return certificate;
}

KeyPtr keyFromPem(std::string_view pem) {
    const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    KeyPtr key(PEM_read_bio_PrivateKey(bio.get(), nullptr, noPassword, nullptr));
    ERR_clear_error();
    return key;
}

int daysLeft(const X509& certificate) {
    int days = 0;
    int seconds = 0;
    if (ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(&certificate)) != 1)
        return -1;
    return seconds < 0 ? days - 1 : days;
}

bool belongTogether(const Identity& identity) {
    const bool match = X509_check_private_key(identity.certificate.get(), identity.key.get()) == 1;
    ERR_clear_error();
    return match;
}

bool isSignedBy(const Identity& identity, const Identity& authority) {
    const bool valid = X509_verify(identity.certificate.get(), authority.key.get()) == 1;
    ERR_clear_error();
    return valid;
}

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

/// It may be somebody's own, with a key that is nowhere else.
void keepAside(const Files& files) {
    for (const fs::path& file : {files.key, files.certificate})
        if (const auto kept = readPrivateFile(file))
            writePrivateFile(file.string() + ".old", *kept);
}

Identity serverIdentityIn(const Files& files, const Identity& authority) {
    std::string why;
    if (auto known = load(files)) {
        const bool sound = belongTogether(*known) && isSignedBy(*known, authority);
        if (sound && daysLeft(*known->certificate) > serverRenewalDays)
            return std::move(*known);
        if (!sound) {
            keepAside(files);
            why = belongTogether(*known) ? "is not signed by the authority ca.pem" : "does not belong to server.key";
            why = "; the one that was there " + why + ", and is kept with its key as server.pem.old and server.key.old";
        }
    }
    Identity made = makeServerIdentity(authority);
    store(made, files);
    logLine("made a server certificate: " + files.certificate.string() + why);
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
    // With keys of their own for each connection, and no CBC.
    if (SSL_CTX_set_cipher_list(context.native_handle(), "ECDHE+AESGCM:ECDHE+CHACHA20") != 1)
        throw TlsError("TLS offers no cipher suite");
    const std::string chain = toPem(*server.certificate);
    const std::string key = toPem(*server.key);
    context.use_certificate_chain(boost::asio::buffer(chain));
    context.use_private_key(boost::asio::buffer(key), ssl::context::pem);
    return context;
}

} // namespace parlowen::service
