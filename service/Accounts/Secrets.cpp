#include "Secrets.h"

#include <array>
#include <sodium.h>
#include <stdexcept>

namespace parlowen::service {

namespace {

void requireSodium() {
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        throw std::runtime_error("libsodium cannot be used");
}

} // namespace

std::string hashedPassword(std::string_view password) {
    requireSodium();
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    if (crypto_pwhash_str(hash.data(), password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        throw std::runtime_error("no memory to hash a password");
    return hash.data();
}

bool passwordMatches(const std::string& hash, std::string_view password) {
    requireSodium();
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

std::string randomToken() {
    requireSodium();
    constexpr std::size_t size = 32;
    constexpr int variant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::array<unsigned char, size> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    std::array<char, sodium_base64_ENCODED_LEN(size, variant)> text{};
    return sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), variant);
}

std::string hashedToken(std::string_view token) {
    requireSodium();
    std::array<unsigned char, crypto_generichash_BYTES> hash{};
    crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(token.data()), token.size(),
                       nullptr, 0);
    return {reinterpret_cast<const char*>(hash.data()), hash.size()};
}

} // namespace parlowen::service
