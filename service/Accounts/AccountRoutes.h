#pragma once

#include "Accounts.h"
#include "Http/Router.h"

namespace parlowen::service {

/// For routes of users alone: answers 401 unless the request carries the token of a user.
Guard signedInOnly(Accounts& accounts);

/// The login method, sign-in, profile and sign-out. `accounts` outlives the server.
void addAccountRoutes(Router& router, Accounts& accounts);

} // namespace parlowen::service
