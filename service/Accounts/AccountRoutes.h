#pragma once

#include "Accounts.h"
#include "Http/Router.h"

#include <functional>

namespace parlowen::service {

/// For routes of users alone: answers 401 unless the request carries the token of a user.
Guard signedInOnly(Accounts& accounts);

/// The reply to a request whose work could not be stored, or whose data could not be read; the log has the reason.
HttpResponse storeFailure(const StoreError& problem);

/// What a profile says of a user's résumé: an object, or null for none. Called on a worker thread; may throw
/// StoreError.
using ResumeOfUser = std::function<nlohmann::json(std::int64_t userId)>;

/// The login method, sign-in, profile, type of interviews and sign-out. `accounts` outlives the server; without
/// `resumeOf` nobody has a résumé.
void addAccountRoutes(Router& router, Accounts& accounts, const ResumeOfUser& resumeOf = {});

} // namespace parlowen::service
