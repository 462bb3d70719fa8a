#include "AccountRoutes.h"

#include "Http/Log.h"
#include "Http/Workers.h"

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr int passwordMethod = 1;
constexpr std::int64_t firstUserCode = 10'000;

nlohmann::json profile(const User& user, const ResumeOfUser& resumeOf) {
    return {{"user_code", std::to_string(firstUserCode + user.id)},
            {"nick_name", user.nickName},
            {"country_code", user.phone.countryCode},
            {"phone", user.phone.number},
            {"last_login_at", localTime(user.lastLoginAt)},
            {"resume", resumeOf ? resumeOf(user.id) : nullptr},
            {"type", user.type}};
}

/// What an account page and a sign-in page read; the token only for the latter.
nlohmann::json signInData(const User& user, const ResumeOfUser& resumeOf, const std::string& token = {}) {
    nlohmann::json data = {{"rights", nlohmann::json::array()}, {"user", profile(user, resumeOf)}};
    if (!token.empty())
        data["token"] = token;
    return data;
}

HttpResponse signIn(Accounts& accounts, const Credentials& credentials, bool mayCreate, const ResumeOfUser& resumeOf) {
    const auto outcome = accounts.signIn(credentials, mayCreate);
    if (const auto* refused = std::get_if<Refused>(&outcome))
        return failure(static_cast<int>(refused->reason), refused->message);
    const auto& signedIn = std::get<SignedIn>(outcome);
    return success(signInData(signedIn.user, resumeOf, signedIn.token));
}

HttpResponse info(Accounts& accounts, std::string_view token, const ResumeOfUser& resumeOf) {
    const auto user = accounts.userOf(token);
    return user ? success(signInData(*user, resumeOf)) : unauthorized();
}

HttpResponse changeType(Accounts& accounts, std::string_view token, std::string_view type) {
    if (type != "1" && type != "2" && type != "3")
        return failure(static_cast<int>(Refused::Reason::Input), "面试类型应为 1、2 或 3");
    return accounts.setType(token, type.front() - '0') ? success(nullptr, "面试类型已更新") : unauthorized();
}

/// Runs what needs the store on a worker thread; `work` gives a response, and may throw StoreError.
template<typename Work>
asio::awaitable<HttpResponse> withStore(const HttpRequest& request, Work work) {
    auto guarded = [work = std::move(work)] {
        try {
            return work();
        } catch (const StoreError& problem) {
            return storeFailure(problem);
        }
    };
    co_return co_await onWorker(request.origin.workers, std::move(guarded));
}

asio::awaitable<HttpResponse> handleSignIn(Accounts& accounts, const ResumeOfUser& resumeOf,
                                           const HttpRequest& request) {
    const auto body = jsonObject(request.body());
    if (!body)
        co_return badRequest();
    Credentials credentials{textMember(*body, "country_code"), textMember(*body, "phone"),
                            textMember(*body, "password")};
    auto work = [&, credentials = std::move(credentials)] {
        return signIn(accounts, credentials, request.isLocal(), resumeOf);
    };
    co_return co_await withStore(request, std::move(work));
}

} // namespace

Guard signedInOnly(Accounts& accounts) {
    return [&accounts](const HttpRequest& request) -> std::optional<HttpResponse> {
        if (accounts.userOf(request.bearerToken()))
            return std::nullopt;
        return unauthorized();
    };
}

HttpResponse storeFailure(const StoreError& problem) {
    logLine(problem.what());
    return problem.cannotWrite ? failure(507, "磁盘空间不足或无法写入，数据没有保存", 507) : internalError();
}

void addAccountRoutes(Router& router, Accounts& accounts, const ResumeOfUser& resumeOf) {
    router.route(verb::get, apiPath("/user/get_login_method"),
                 [](const HttpRequest&) -> asio::awaitable<HttpResponse> { co_return success(passwordMethod); });
    router.route(
        verb::post, apiPath("/user/account/login"),
        [&accounts, resumeOf](const HttpRequest& request) { return handleSignIn(accounts, resumeOf, request); },
        {.bodyBytes = 16'384});
    router.route(verb::get, apiPath("/user/info"), [&accounts, resumeOf](const HttpRequest& request) {
        return withStore(request, [&] { return info(accounts, request.bearerToken(), resumeOf); });
    });
    router.route(verb::put, apiPath("/user/change_user_type/*"),
                 [&accounts](const HttpRequest& request) {
                     return withStore(request,
                                      [&] { return changeType(accounts, request.bearerToken(), request.rest); });
                 },
                 {.right = signedInOnly(accounts)});
    router.route(verb::post, apiPath("/user/logout"),
                 [&accounts](const HttpRequest& request) {
                     return withStore(request, [&] {
                         accounts.signOut(request.bearerToken());
                         return success();
                     });
                 },
                 {.right = signedInOnly(accounts)});
}

} // namespace parlowen::service
