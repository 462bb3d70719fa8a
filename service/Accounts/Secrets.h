#pragma once

#include <string>
#include <string_view>

namespace parlowen::service {

/// An argon2id hash with its salt and cost, as text. Takes about 0.1 s and 64 MiB.
std::string hashedPassword(std::string_view password);
/// Takes as long as hashing.
bool passwordMatches(const std::string& hash, std::string_view password);

/// 32 random bytes as 43 characters of base64url.
std::string randomToken();
/// How a token is kept: 32 bytes that do not lead back to it.
std::string hashedToken(std::string_view token);

} // namespace parlowen::service
