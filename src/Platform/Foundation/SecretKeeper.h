#pragma once

#include "Result.h"

#include <optional>

namespace parlowen {

/// A place for secrets that is safer than a file, such as the desktop's keyring. Its calls may take as long as the user
/// takes to unlock it: they belong on a thread of their own.
class SecretKeeper {
public:
    virtual ~SecretKeeper() = default;

    /// The owner's secret; none when there is none.
    virtual Result<std::optional<QString>> secret(const QString& owner) = 0;
    /// Keeps it in the place of an earlier one.
    virtual Result<void> keep(const QString& owner, const QString& secret) = 0;
    /// Lets go of it as far as that can be done without asking the user.
    virtual void forget(const QString& owner) = 0;
    /// Has a call that waits, and every later one, fail at once. Any thread.
    virtual void cancel() = 0;
};

} // namespace parlowen
