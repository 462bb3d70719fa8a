#include "AccountRoutes.h"

#include "Http/Log.h"

namespace parlowen::service {

namespace {

constexpr std::int64_t firstUserCode = 10'000;
constexpr std::size_t fewBytes = 1'024; // of a body that nothing is read from

nlohmann::json profileOf(const User& user, const ResumeOfUser& resumeOf) {
    return {{"user_code", std::to_string(firstUserCode + user.id)},
            {"nick_name", user.nickName},
            {"country_code", user.phone.countryCode},
            {"phone", user.phone.number},
            {"last_login_at", localTime(user.lastLoginAt)},
            {"resume", resumeOf ? resumeOf(user.id) : nullptr},
            {"type", user.type}};
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

HttpResponse logOff(Accounts& accounts, std::string_view token, const Forget& forget) {
    const auto removed = accounts.remove(token);
    if (!removed)
        return unauthorized();
    if (forget.user)
        forget.user(removed->id);
    return success(nullptr, "账号已注销");
}

} // namespace

Guard signedInOnly(Accounts& accounts) {
    return [&accounts](const HttpRequest& request) -> std::optional<HttpResponse> {
        const auto user = accounts.userOf(request.bearerToken());
        if (user)
            request.isOf(user->id);
        return user ? std::nullopt : std::optional(unauthorized());
    };
}

HttpResponse storeFailure(const StoreError& problem) {
    logLine(problem.what());
    return problem.cannotWrite ? failure(507, "磁盘空间不足或无法写入，数据没有保存", 507) : internalError();
}

nlohmann::json signInData(const User& user, const ResumeOfUser& resumeOf, const std::string& token) {
    nlohmann::json data = {{"rights", nlohmann::json::array()}, {"user", profileOf(user, resumeOf)}};
    if (!token.empty())
        data["token"] = token;
    return data;
}

void addAccountRoutes(Router& router, Accounts& accounts, const ResumeOfUser& resumeOf, const Forget& forget) {
    router.route(verb::get, apiPath("/user/info"),
                 [&accounts, resumeOf](const HttpRequest& request) {
                     return withStore(request, [&] { return info(accounts, request.bearerToken(), resumeOf); });
                 },
                 {.right = signedInOnly(accounts)});
    router.route(verb::put, apiPath("/user/change_user_type/*"),
                 [&accounts](const HttpRequest& request) {
                     return withStore(request,
                                      [&] { return changeType(accounts, request.bearerToken(), request.rest); });
                 },
                 {.right = signedInOnly(accounts), .bodyBytes = fewBytes});
    router.route(verb::post, apiPath("/user/logout"),
                 [&accounts, forget](const HttpRequest& request) {
                     return withStore(request, [&] {
                         accounts.signOut(request.bearerToken());
                         if (forget.session)
                             forget.session(Accounts::sessionOf(request.bearerToken()));
                         return success();
                     });
                 },
                 {.right = signedInOnly(accounts), .bodyBytes = fewBytes});
    router.route(verb::post, apiPath("/user/logoff"),
                 [&accounts, forget](const HttpRequest& request) {
                     return withStore(request, [&] { return logOff(accounts, request.bearerToken(), forget); });
                 },
                 {.right = signedInOnly(accounts), .bodyBytes = fewBytes});
}

} // namespace parlowen::service
