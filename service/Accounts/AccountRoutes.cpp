#include "AccountRoutes.h"

#include "Http/Log.h"
#include "Http/Workers.h"

#include <array>
#include <ctime>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr int passwordMethod = 1;
constexpr std::int64_t firstUserCode = 10'000;

std::string localTime(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    localtime_r(&time, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%F %T", &parts)};
}

nlohmann::json profile(const User& user) {
    return {{"user_code", std::to_string(firstUserCode + user.id)},
            {"nick_name", user.nickName},
            {"country_code", user.phone.countryCode},
            {"phone", user.phone.number},
            {"last_login_at", localTime(user.lastLoginAt)},
            {"resume", nullptr},
            {"type", user.type}};
}

/// What an account page and a sign-in page read; the token only for the latter.
nlohmann::json signInData(const User& user, const std::string& token = {}) {
    nlohmann::json data = {{"rights", nlohmann::json::array()}, {"user", profile(user)}};
    if (!token.empty())
        data["token"] = token;
    return data;
}

HttpResponse storeFailure(const StoreError& problem) {
    logLine(problem.what());
    return problem.cannotWrite ? failure(507, "磁盘空间不足或无法写入，数据没有保存", 507) : internalError();
}

HttpResponse signIn(Accounts& accounts, const Credentials& credentials, bool mayCreate) {
    try {
        const auto outcome = accounts.signIn(credentials, mayCreate);
        if (const auto* refused = std::get_if<Refused>(&outcome))
            return failure(static_cast<int>(refused->reason), refused->message);
        const auto& signedIn = std::get<SignedIn>(outcome);
        return success(signInData(signedIn.user, signedIn.token));
    } catch (const StoreError& problem) {
        return storeFailure(problem);
    }
}

HttpResponse signOut(Accounts& accounts, const std::string& token) {
    try {
        accounts.signOut(token);
        return success();
    } catch (const StoreError& problem) {
        return storeFailure(problem);
    }
}

asio::awaitable<HttpResponse> handleSignIn(Accounts& accounts, const HttpRequest& request) {
    const auto body = jsonObject(request.body());
    if (!body)
        co_return badRequest();
    Credentials credentials{textMember(*body, "country_code"), textMember(*body, "phone"),
                            textMember(*body, "password")};
    const bool mayCreate = request.isLocal();
    auto work = [&accounts, credentials = std::move(credentials), mayCreate] {
        return signIn(accounts, credentials, mayCreate);
    };
    co_return co_await onWorker(request.origin.workers, std::move(work));
}

asio::awaitable<HttpResponse> handleSignOut(Accounts& accounts, const HttpRequest& request) {
    auto work = [&accounts, token = std::string(request.bearerToken())] { return signOut(accounts, token); };
    co_return co_await onWorker(request.origin.workers, std::move(work));
}

asio::awaitable<HttpResponse> handleInfo(Accounts& accounts, const HttpRequest& request) {
    auto work = [&accounts, token = std::string(request.bearerToken())] { return accounts.userOf(token); };
    const auto user = co_await onWorker(request.origin.workers, std::move(work));
    co_return user ? success(signInData(*user)) : unauthorized();
}

} // namespace

Guard signedInOnly(Accounts& accounts) {
    return [&accounts](const HttpRequest& request) -> std::optional<HttpResponse> {
        if (accounts.userOf(request.bearerToken()))
            return std::nullopt;
        return unauthorized();
    };
}

void addAccountRoutes(Router& router, Accounts& accounts) {
    router.route(verb::get, apiPath("/user/get_login_method"),
                 [](const HttpRequest&) -> asio::awaitable<HttpResponse> { co_return success(passwordMethod); });
    router.route(verb::post, apiPath("/user/account/login"),
                 [&accounts](const HttpRequest& request) { return handleSignIn(accounts, request); },
                 {.bodyBytes = 16'384});
    router.route(verb::get, apiPath("/user/info"),
                 [&accounts](const HttpRequest& request) { return handleInfo(accounts, request); });
    router.route(verb::post, apiPath("/user/logout"),
                 [&accounts](const HttpRequest& request) { return handleSignOut(accounts, request); },
                 {.right = signedInOnly(accounts)});
}

} // namespace parlowen::service
