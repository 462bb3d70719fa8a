#include "CaptchaRoutes.h"

#include "Http/Workers.h"
#include "PageText.h"

#include <openssl/evp.h>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr std::size_t answerBytes = 65'536;
constexpr int wrongAnswer = 1006;
constexpr int tooManyCaptchas = 1003;

constexpr const char* contentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src data:; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

HttpResponse guarded(HttpResponse response) {
    response.headers = {{"Content-Security-Policy", contentPolicy},
                        {"X-Content-Type-Options", "nosniff"},
                        {"Referrer-Policy", "no-referrer"},
                        {"Cross-Origin-Resource-Policy", "same-origin"}};
    return response;
}

/// As browsers send it for a page's script alone, after asking first where the page is another host's.
bool isJson(const HttpRequest& request) { return request.header("Content-Type").starts_with("application/json"); }

std::string dataUri(const Picture& picture) {
    const std::string png = toPng(picture);
    std::string text((png.size() + 2) / 3 * 4 + 1, '\0'); // with the NUL that is written behind it
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(png.data()), static_cast<int>(png.size()));
    text.resize(static_cast<std::size_t>(length));
    return "data:image/png;base64," + text;
}

HttpResponse challenge(Captchas& captchas, const std::string& address) {
    const auto made = captchas.make(address);
    if (!made)
        return failure(tooManyCaptchas, "尝试次数过多，请在 " + std::to_string(made.error().count()) + " 秒后再试");
    return success({{"id", made->id},
                    {"picture", dataUri(made->puzzle.background)},
                    {"piece", dataUri(made->puzzle.piece)},
                    {"top", made->puzzle.y},
                    {"question", made->question}});
}

/// A finite number in JSON; NaN, which no comparison accepts, for anything else.
double numberIn(const nlohmann::json& value) { return value.is_number() ? value.get<double>() : std::nan(""); }

CaptchaAnswer answerIn(const nlohmann::json& body, std::string address) {
    CaptchaAnswer answer{.id = textMember(body, "id"), .x = numberIn(body.value("x", nlohmann::json()))};
    answer.text = textMember(body, "text");
    std::erase_if(answer.text, [](char c) { return c == ' ' || c == ','; }); // as the question parts them
    answer.address = std::move(address);
    const auto steps = body.value("trace", nlohmann::json::array());
    for (const auto& step : steps)
        if (step.is_array() && step.size() == 2)
            answer.trace.push_back({numberIn(step[0]), numberIn(step[1])});
    return answer;
}

HttpResponse judge(Captchas& captchas, const HttpRequest& request) {
    const auto body = jsonObject(request.body());
    if (!body || !isJson(request))
        return badRequest();
    const CaptchaAnswer answer = answerIn(*body, request.origin.network());
    const auto result = captchas.solve(answer);
    if (result)
        return success({{"validate", *result}});
    const auto minutes = std::chrono::ceil<std::chrono::minutes>(result.error()).count();
    return minutes == 0 ? failure(wrongAnswer, answer.text.empty() ? "没有对准，请再试一次" : "答案不正确，请再试一次")
                        : failure(tooManyCaptchas, "文字验证次数过多，请用方向键移动滑块，或在 " +
                                                       std::to_string(minutes) + " 分钟后再试");
}

/// A part of the page.
Handler part(const char* text, const char* contentType) {
    return [text, contentType](const HttpRequest&) -> asio::awaitable<HttpResponse> {
        co_return guarded({.body = text, .contentType = contentType});
    };
}

} // namespace

void addCaptchaRoutes(Router& router, Captchas& captchas) {
    const RouteRules rules{.bodyBytes = answerBytes};
    router.route(verb::get, "/", part(pageHtml, "text/html; charset=utf-8"));
    router.route(verb::get, "/page.css", part(pageCss, "text/css; charset=utf-8"));
    router.route(verb::get, "/page.js", part(pageJs, "text/javascript; charset=utf-8"));
    router.route(
        verb::post, "/challenge",
        [&captchas](const HttpRequest& request) -> asio::awaitable<HttpResponse> {
            auto draw = [&captchas, &request] {
                return isJson(request) ? challenge(captchas, request.origin.network()) : badRequest();
            };
            HttpResponse reply = co_await onWorker(request.origin.workers, std::move(draw));
            co_return guarded(std::move(reply));
        },
        rules);
    router.route(
        verb::post, "/answer",
        [&captchas](const HttpRequest& request) -> asio::awaitable<HttpResponse> {
            co_return guarded(judge(captchas, request));
        },
        rules);
}

} // namespace parlowen::service
