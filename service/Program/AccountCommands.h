#pragma once

#include "Accounts/AccountStore.h"

#include <filesystem>
#include <iosfwd>

namespace parlowen::service {

/// Gives a number the password that is the first line of `input`, in a data directory that is there, whether a service
/// runs on it or not; says what came of it. A terminal is asked for it and does not show it. Throws std::runtime_error,
/// also for a number or a password that cannot be.
void setPassword(const std::filesystem::path& data, const PhoneNumber& phone, std::istream& input,
                 std::ostream& output);

} // namespace parlowen::service
