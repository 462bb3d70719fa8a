#include "OtherRoutes.h"

#include "Countries.h"
#include "Http/Workers.h"
#include "Languages.h"
#include "OpenApiText.h"
#include "Pictures/QrCode.h"

#include <algorithm>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr int noRegion = 1008;
const std::string speechTokenPath = apiPath("/microsoft/get_token");

nlohmann::json listOf(const std::vector<Language>& languages) {
    nlohmann::json entries = nlohmann::json::array();
    for (const Language& language : languages)
        entries.push_back({{"ID", language.id},
                           {"name", language.name},
                           {"original_key", language.locale},
                           {"translation_key", language.code},
                           {"first_letters", language.letters}});
    return entries;
}

HttpResponse languageList(const LanguageOffer& offer, std::string_view source) {
    if (source == "1")
        return success(listOf(spokenLanguages(offer.recognition)));
    return source == "2" ? success(listOf(targetLanguages(offer.translation))) : badRequest("参数 source 应为 1 或 2");
}

/// A handler that has its reply at hand.
template<typename Function>
Handler plain(Function function) {
    return [function = std::move(function)](const HttpRequest& request) -> asio::awaitable<HttpResponse> {
        co_return function(request);
    };
}

/// Whether a text can be a host with a port, so that it may go back into a URL.
bool isHost(std::string_view text) {
    return !text.empty() && text.size() <= 255 && std::all_of(text.begin(), text.end(), [](char c) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        return letter || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == ':' || c == '[' || c == ']';
    });
}

HttpResponse noHost() { return badRequest("缺少有效的 Host 请求头"); }

/// "0.1.0" as 100, two digits a part.
int buildNumber(std::string_view version) {
    int build = 0;
    int part = 0;
    for (const char c : version) {
        if (c == '.') {
            build = (build + part) * 100;
            part = 0;
        } else {
            part = part * 10 + (c - '0');
        }
    }
    return build + part;
}

} // namespace

void addLanguageRoutes(Router& router, LanguageCatalog catalog, const Guard& signedInOnly) {
    // The catalogue looks at the disk.
    router.route(verb::get, apiPath("/language/list"),
                 [catalog = std::move(catalog)](const HttpRequest& request) -> asio::awaitable<HttpResponse> {
                     auto work = [&] { return languageList(catalog(), request.query("source")); };
                     co_return co_await onWorker(request.origin.workers, std::move(work));
                 },
                 {.right = signedInOnly});
}

void addSpeechTokenRoute(Router& router, std::function<std::string(std::string_view)> issue,
                         const Guard& signedInOnly) {
    router.route(verb::get, speechTokenPath,
                 [issue = std::move(issue)](const HttpRequest& request) -> asio::awaitable<HttpResponse> {
                     const std::string host(request.header("Host"));
                     if (!isHost(host))
                         co_return noHost();
                     auto work = [&] { return issue(request.bearerToken()); };
                     const std::string token = co_await onWorker(request.origin.workers, std::move(work));
                     co_return token.empty() ? unauthorized() : success({{"token", token}, {"area", "wss://" + host}});
                 },
                 {.right = signedInOnly});
}

void addRegionTokenRoute(Router& router, RegionTokenSource token, const std::string& area, const Guard& signedInOnly) {
    router.route(
        verb::get, speechTokenPath,
        [token = std::move(token), area](const HttpRequest&) -> asio::awaitable<HttpResponse> {
            auto fetching = token();
            const auto outcome = co_await std::move(fetching);
            co_return outcome ? success({{"token", *outcome}, {"area", area}}) : failure(noRegion, outcome.error());
        },
        {.right = signedInOnly});
}

void addVersionRoute(Router& router) {
    const nlohmann::json version = {{"build", buildNumber(PARLOWEN_VERSION)},
                                    {"version", PARLOWEN_VERSION},
                                    {"content", ""},
                                    {"package_value", ""},
                                    {"min_build", buildNumber(PARLOWEN_VERSION)},
                                    {"min_version", PARLOWEN_VERSION},
                                    {"is_force", 0}};
    router.route(verb::get, apiPath("/operation/version"),
                 plain([version](const HttpRequest&) { return success(version); }));
}

void addDescriptionRoute(Router& router) {
    nlohmann::json document = nlohmann::json::parse(openApiText);
    document["info"]["version"] = PARLOWEN_VERSION;
    router.route(verb::get, apiPath("/openapi.json"),
                 plain([text = compactJson(document)](const HttpRequest&) { return HttpResponse{.body = text}; }));
}

void addCountryRoute(Router& router) {
    nlohmann::json list = nlohmann::json::array();
    for (const Country& country : countries())
        list.push_back({{"code", country.region},
                        {"name_en", country.englishName},
                        {"country_code", country.diallingCode},
                        {"first_letters", country.firstLetter},
                        {"name_zn", country.chineseName}});
    router.route(verb::get, apiPath("/country/list"),
                 plain([reply = success(list)](const HttpRequest&) { return reply; }));
}

void addContactRoutes(Router& router, const std::string& text) {
    const std::string picturePath = apiPath("/operation/contact.png");
    if (!text.empty())
        router.route(verb::get, picturePath, plain([png = toPng(qrCode(text))](const HttpRequest&) {
                         return HttpResponse{.body = png, .contentType = "image/png"};
                     }));
    router.route(verb::get, apiPath("/operation/contact"), plain([text, picturePath](const HttpRequest& request) {
                     const std::string host(request.header("Host"));
                     if (text.empty())
                         return success("");
                     return isHost(host) ? success("https://" + host + picturePath) : noHost();
                 }));
}

} // namespace parlowen::service
