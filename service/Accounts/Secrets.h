#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace parlowen::service {

/// An argon2id hash with its salt and cost, as text: 19 MiB in two passes, OWASP's first choice ("Password Storage
/// Cheat Sheet"). More memory makes its pages' coming and going, during which the whole process waits, longer than the
/// hashing.
std::string hashedPassword(std::string_view password);
/// Whether it was made at another cost than that of today.
bool isOfAnotherCost(const std::string& hash);
/// Takes as long as hashing; also for an empty hash, which stands for nobody's and matches nothing.
bool passwordMatches(const std::string& hash, std::string_view password);
/// How many passwords this process has hashed or compared: what costs the time that an observer could measure.
std::uint64_t passwordsHashed();

/// 32 random bytes as 43 characters of base64url.
std::string randomToken();
/// A random number from 0 to below the bound, all alike probable.
std::uint32_t randomBelow(std::uint32_t bound);
/// Random decimal digits.
std::string randomDigits(std::size_t count);
/// Compares without telling by its time how much is alike.
bool sameBytes(std::string_view left, std::string_view right);
/// How a token is kept: 32 bytes that do not lead back to it.
std::string hashedToken(std::string_view token);

} // namespace parlowen::service
