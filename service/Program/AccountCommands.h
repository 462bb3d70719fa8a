#pragma once

#include "Accounts/AccountStore.h"

#include <filesystem>
#include <iosfwd>
#include <optional>

namespace parlowen::service {

/// What an operator does to accounts.
struct AccountCommand {
    enum class What { List, SetPassword, Delete, EndSignIns };
    What what = What::List;
    std::optional<PhoneNumber> number = {}; ///< whose; none for a list, and for the sign-ins of all
};

/// Carries it out in a data directory that is there, whether a service runs on it or not, and says what came of it.
/// A password is the first line of `input`; a terminal is asked for it and does not show it. Sign-ins that were not
/// used for `sessionLife` are not listed. Throws std::runtime_error, also for a number that has no account, and for a
/// number or a password that cannot be.
void carryOut(const AccountCommand& command, const std::filesystem::path& data, std::chrono::seconds sessionLife,
              std::istream& input, std::ostream& output);

} // namespace parlowen::service
