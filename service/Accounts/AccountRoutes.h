#pragma once

#include "Accounts.h"
#include "Http/Router.h"
#include "Http/Workers.h"

#include <functional>

namespace parlowen::service {

/// For routes of users alone: answers 401 unless the request carries the token of a user.
Guard signedInOnly(Accounts& accounts);

/// The reply to a request whose work could not be stored, or whose data could not be read; the log has the reason.
HttpResponse storeFailure(const StoreError& problem);

/// What a profile says of a user's résumé: an object, or null for none. Called on a worker thread; may throw
/// StoreError.
using ResumeOfUser = std::function<nlohmann::json(std::int64_t userId)>;

/// Drops what is kept elsewhere than in the database, of a user, or of a session (Accounts::sessionOf()) that has
/// ended. Each is called on a worker thread.
struct Forget {
    std::function<void(std::int64_t userId)> user = {};
    std::function<void(std::string_view session)> session = {};
};

/// What account and sign-in pages read of a user; the token only for the latter.
nlohmann::json signInData(const User& user, const ResumeOfUser& resumeOf, const std::string& token = {});

/// Profile, type of interviews, sign-out and the deletion of an account. `accounts` outlives the server; without
/// `resumeOf` nobody has a résumé.
void addAccountRoutes(Router& router, Accounts& accounts, const ResumeOfUser& resumeOf = {}, const Forget& forget = {});

/// Runs what needs the store on a worker thread; `work` gives a response, and may throw StoreError.
template<typename Work>
boost::asio::awaitable<HttpResponse> withStore(const HttpRequest& request, Work work) {
    auto guarded = [work = std::move(work)] {
        try {
            return work();
        } catch (const StoreError& problem) {
            return storeFailure(problem);
        }
    };
    co_return co_await onWorker(request.origin.workers, std::move(guarded));
}

} // namespace parlowen::service
