#include "SignInRoutes.h"

#include "Http/CountedLine.h"
#include "Http/Wording.h"

#include <atomic>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr std::size_t bodyBytes = 16'384;
constexpr int mostDeliveries = 4; // at a time
constexpr int notOffered = 501;
constexpr int wrongCaptcha = 1006;
constexpr int notDelivered = 1007;

Credentials credentialsIn(const nlohmann::json& body, const char* secret, const HttpRequest& request) {
    return {textMember(body, "country_code"), textMember(body, "phone"), textMember(body, secret),
            request.origin.network(), std::string(request.header("Device"))};
}

HttpResponse refusedReply(const Refused& refused) { return failure(static_cast<int>(refused.reason), refused.message); }

void countSignIn(CountedLines::SignIn outcome, const HttpRequest& request) {
    countedLines().signIns.count(outcome, request.origin.peer.to_string());
}

void countCode(CountedLines::Code outcome, const HttpRequest& request) {
    countedLines().codes.count(outcome, request.origin.peer.to_string());
}

HttpResponse refusedSignIn(const Refused& refused, const HttpRequest& request) {
    const bool hasToWait = refused.reason == Refused::Reason::TooManyFailures;
    countSignIn(hasToWait ? CountedLines::ToWait : CountedLines::Wrong, request);
    return refusedReply(refused);
}

HttpResponse signInReply(const std::variant<SignedIn, Refused>& outcome, const SignInParts& parts,
                         const HttpRequest& request) {
    if (const auto* refused = std::get_if<Refused>(&outcome))
        return refusedSignIn(*refused, request);
    const auto& signedIn = std::get<SignedIn>(outcome);
    return success(signInData(signedIn.user, parts.resumeOf, signedIn.token));
}

/// Answers at once what needs no hashing, the rest in its turn.
asio::awaitable<HttpResponse> signInByPassword(const SignInParts& parts, const HttpRequest& request) {
    const auto body = jsonObject(request.body());
    if (!body)
        co_return badRequest();
    const Credentials credentials = credentialsIn(*body, "password", request);
    HashingQueue::Place place;
    std::optional<Refused> refused;
    auto look = [&] {
        refused = parts.accounts.refusal(credentials);
        if (!refused)
            place = parts.accounts.placeOf(credentials);
        return refused ? refusedSignIn(*refused, request) : HttpResponse{.status = 0};
    };
    HttpResponse early = co_await withStore(request, std::move(look));
    if (early.status != 0)
        co_return early;
    const bool mayCreate = parts.createByPassword && parts.method == LoginMethod::Password && request.isLocal();
    auto check = [&parts, &credentials, &request, mayCreate] {
        try {
            return signInReply(parts.accounts.signIn(credentials, mayCreate), parts, request);
        } catch (const StoreError& problem) {
            return storeFailure(problem);
        }
    };
    auto hashing = parts.hashing.run(std::move(place), std::move(check));
    auto reply = co_await std::move(hashing);
    if (!reply)
        countSignIn(CountedLines::WithoutPlace, request);
    co_return reply ? *std::move(reply) : busy("登录的人太多", HashingQueue::untilRoom);
}

asio::awaitable<HttpResponse> signInByCode(const SignInParts& parts, const HttpRequest& request) {
    const auto body = jsonObject(request.body());
    if (!body)
        co_return badRequest();
    const Credentials credentials = credentialsIn(*body, "code", request);
    co_return co_await withStore(request,
                                 [&] { return signInReply(parts.accounts.signInByCode(credentials), parts, request); });
}

/// Sends what was issued; a code that could not be sent costs the number nothing.
HttpResponse deliver(const SignInParts& parts, const CodeMessage& message) {
    if (parts.deliver(message))
        return success(nullptr, "验证码已发送");
    parts.accounts.takeCodeBack(message.phone, message.code);
    return failure(notDelivered, "验证码发送失败，请稍后再试");
}

/// The same for every number, whether it has an account or not.
asio::awaitable<HttpResponse> sendCode(const SignInParts& parts, std::atomic<int>& deliveries,
                                       const HttpRequest& request) {
    const auto body = jsonObject(request.body());
    if (!body)
        co_return badRequest();
    const Credentials credentials = credentialsIn(*body, "", request);
    if (const auto mistyped = Accounts::problemOf(credentials.number()))
        co_return refusedReply(*mistyped); // before it uses a captcha up
    const std::string captcha = textMember(*body, "data");
    if (!parts.redeemCaptcha(captcha)) {
        countCode(CountedLines::CodeWithoutCaptcha, request);
        co_return failure(wrongCaptcha, "安全验证无效或已过期，请重新验证");
    }
    if (++deliveries > mostDeliveries) {
        --deliveries;
        parts.giveCaptchaBack(captcha, credentials.address);
        countCode(CountedLines::CodeWithoutPlace, request);
        co_return busy("正在发送的验证码过多", deliveryTime);
    }
    const bool isEnglish = prefersEnglish(request.header("Accept-Language"));
    auto work = [&] {
        const auto issued = parts.accounts.issueCode(credentials);
        const auto* code = std::get_if<std::string>(&issued);
        if (!code) {
            parts.giveCaptchaBack(captcha, credentials.address);
            countCode(CountedLines::CodeToWait, request);
        }
        return code ? deliver(parts, {credentials.number(), *code, isEnglish})
                    : refusedReply(std::get<Refused>(issued));
    };
    const std::unique_ptr<std::atomic<int>, void (*)(std::atomic<int>*)> leaving(&deliveries,
                                                                                 [](auto* count) { --*count; });
    co_return co_await onWorker(request.origin.slowWorkers, std::move(work));
}

Handler notOfferedHere() {
    return [](const HttpRequest&) -> asio::awaitable<HttpResponse> {
        co_return failure(notOffered, "本服务不支持短信验证码，请使用密码登录");
    };
}

} // namespace

void addSignInRoutes(Router& router, const SignInParts& parts) {
    const auto kept = std::make_shared<const SignInParts>(parts);
    const auto deliveries = std::make_shared<std::atomic<int>>(0);
    const RouteRules rules{.bodyBytes = bodyBytes};
    const bool byCode = parts.method == LoginMethod::Code;
    router.route(verb::get, apiPath("/user/get_login_method"),
                 [kept](const HttpRequest&) -> asio::awaitable<HttpResponse> {
                     co_return success(static_cast<int>(kept->method));
                 });
    router.route(
        verb::post, apiPath("/user/account/login"),
        [kept](const HttpRequest& request) { return signInByPassword(*kept, request); }, rules);
    const auto offered = [byCode](Handler handler) { return byCode ? std::move(handler) : notOfferedHere(); };
    router.route(verb::post, apiPath("/user/login"),
                 offered([kept](const HttpRequest& request) { return signInByCode(*kept, request); }), rules);
    router.route(verb::post, apiPath("/user/send_sms_code"), offered([kept, deliveries](const HttpRequest& request) {
                     return sendCode(*kept, *deliveries, request);
                 }),
                 rules);
}

} // namespace parlowen::service
