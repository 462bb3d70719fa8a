#include "Secrets.h"

#include <array>
#include <atomic>
#include <sodium.h>
#include <stdexcept>

namespace parlowen::service {

namespace {

void requireSodium() {
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        throw std::runtime_error("libsodium cannot be used");
}

constexpr std::size_t passwordMemory = std::size_t{19} * 1024 * 1024; // bytes
constexpr unsigned long long passwordPasses = 2;

std::atomic<std::uint64_t> hashings = 0;

/// A hash of the usual cost that no password leads to.
std::string hashOfNobody() {
    return "$argon2id$v=19$m=" + std::to_string(passwordMemory / 1024) + ",t=" + std::to_string(passwordPasses) +
           ",p=1$" + std::string(22, 'A') + "$" + std::string(43, 'A');
}

} // namespace

std::string hashedPassword(std::string_view password) {
    requireSodium();
    ++hashings;
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    if (crypto_pwhash_str(hash.data(), password.data(), password.size(), passwordPasses, passwordMemory) != 0)
        throw std::runtime_error("no memory to hash a password");
    return hash.data();
}

bool isOfAnotherCost(const std::string& hash) {
    requireSodium();
    return crypto_pwhash_str_needs_rehash(hash.c_str(), passwordPasses, passwordMemory) != 0;
}

bool passwordMatches(const std::string& hash, std::string_view password) {
    requireSodium();
    ++hashings;
    const bool matches =
        crypto_pwhash_str_verify((hash.empty() ? hashOfNobody() : hash).c_str(), password.data(), password.size()) == 0;
    return matches && !hash.empty();
}

std::uint64_t passwordsHashed() { return hashings; }

std::string randomToken() {
    requireSodium();
    constexpr std::size_t size = 32;
    constexpr int variant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::array<unsigned char, size> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    std::array<char, sodium_base64_ENCODED_LEN(size, variant)> text{};
    return sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), variant);
}

std::uint32_t randomBelow(std::uint32_t bound) {
    requireSodium();
    return randombytes_uniform(bound);
}

std::string randomDigits(std::size_t count) {
    std::string digits(count, '0');
    for (char& digit : digits)
        digit = static_cast<char>('0' + randomBelow(10));
    return digits;
}

bool sameBytes(std::string_view left, std::string_view right) {
    return left.size() == right.size() && sodium_memcmp(left.data(), right.data(), left.size()) == 0;
}

std::string hashedToken(std::string_view token) {
    requireSodium();
    std::array<unsigned char, crypto_generichash_BYTES> hash{};
    crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(token.data()), token.size(),
                       nullptr, 0);
    return {reinterpret_cast<const char*>(hash.data()), hash.size()};
}

} // namespace parlowen::service
