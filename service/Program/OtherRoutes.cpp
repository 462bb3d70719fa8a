#include "OtherRoutes.h"

#include <algorithm>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;

constexpr int notOffered = 501;

struct Language {
    int id;
    std::string_view name;
    std::string_view locale;
    std::string_view code; ///< of translation
    std::string_view letter;
};

/// The first entry of a code is the one that stands for it as a target.
constexpr Language languages[] = {
    {101, "阿拉伯语（埃及）", "ar-EG", "ar", "A"},    {102, "加泰罗尼亚语", "ca-ES", "ca", "J"},
    {103, "德语（德国）", "de-DE", "de", "D"},        {104, "世界语", "eo", "eo", "S"},
    {105, "西班牙语（西班牙）", "es-ES", "es", "X"},  {106, "西班牙语（墨西哥）", "es-MX", "es", "X"},
    {107, "法语（法国）", "fr-FR", "fr", "F"},        {108, "加利西亚语", "gl-ES", "gl", "J"},
    {109, "印地语（印度）", "hi-IN", "hi", "Y"},      {110, "印度尼西亚语", "id-ID", "id", "Y"},
    {111, "意大利语（意大利）", "it-IT", "it", "Y"},  {112, "日语（日本）", "ja-JP", "ja", "R"},
    {113, "韩语（韩国）", "ko-KR", "ko", "H"},        {114, "荷兰语（荷兰）", "nl-NL", "nl", "H"},
    {115, "波兰语（波兰）", "pl-PL", "pl", "B"},      {116, "葡萄牙语（巴西）", "pt-BR", "pt", "P"},
    {117, "俄语（俄罗斯）", "ru-RU", "ru", "E"},      {118, "泰语（泰国）", "th-TH", "th", "T"},
    {119, "土耳其语（土耳其）", "tr-TR", "tr", "T"},  {120, "越南语（越南）", "vi-VN", "vi", "Y"},
    {128, "中文（简体）", "zh-CN", "zh-Hans", "Z"},   {129, "中文（繁体）", "zh-TW", "zh-Hant", "Z"},
    {130, "中文（粤语，繁体）", "zh-HK", "yue", "Z"}, {135, "英语（美国）", "en-US", "en", "Y"},
    {136, "英语（英国）", "en-GB", "en", "Y"},        {137, "英语（印度）", "en-IN", "en", "Y"},
};

/// A language that the table does not know goes by its key.
Language languageOf(const std::string& key, std::string_view Language::*keyField) {
    const auto* found = std::find_if(std::begin(languages), std::end(languages),
                                     [&](const Language& language) { return language.*keyField == key; });
    return found == std::end(languages) ? Language{0, key, key, key, "#"} : *found;
}

nlohmann::json list(const std::vector<std::string>& keys, std::string_view Language::*keyField) {
    std::vector<Language> found;
    found.reserve(keys.size());
    for (const std::string& key : keys)
        found.push_back(languageOf(key, keyField));
    std::stable_sort(found.begin(), found.end(),
                     [](const Language& left, const Language& right) { return left.letter < right.letter; });
    nlohmann::json entries = nlohmann::json::array();
    for (const Language& language : found)
        entries.push_back({{"ID", language.id},
                           {"name", language.name},
                           {"original_key", language.locale},
                           {"translation_key", language.code},
                           {"first_letters", language.letter}});
    return entries;
}

nlohmann::json recognitionList(const LanguageOffer& offer) { return list(offer.recognition, &Language::locale); }

nlohmann::json translationList(const LanguageOffer& offer) { return list(offer.translation, &Language::code); }

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
    router.route(verb::get, apiPath("/language/list"),
                 plain([catalog = std::move(catalog)](const HttpRequest& request) {
                     const std::string source = request.query("source");
                     if (source == "1")
                         return success(recognitionList(catalog()));
                     return source == "2" ? success(translationList(catalog())) : badRequest("参数 source 应为 1 或 2");
                 }),
                 {.right = signedInOnly});
}

void addSpeechTokenRoute(Router& router, std::function<std::string()> issue, const Guard& signedInOnly) {
    router.route(verb::get, apiPath("/microsoft/get_token"),
                 plain([issue = std::move(issue)](const HttpRequest& request) {
                     const std::string host(request.header("Host"));
                     if (!isHost(host))
                         return badRequest("缺少有效的 Host 请求头");
                     return success({{"token", issue()}, {"area", "wss://" + host}});
                 }),
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

void addMissingRoutes(Router& router, const Guard& signedInOnly) {
    const auto missing = [&router](verb method, std::string_view path, const char* message, const Guard& guard) {
        router.route(method, apiPath(path),
                     plain([message](const HttpRequest&) { return failure(notOffered, message); }), {.right = guard});
    };
    missing(verb::post, "/user/send_sms_code", "本服务不支持短信验证码，请使用密码登录", {});
    missing(verb::post, "/user/login", "本服务不支持短信验证码，请使用密码登录", {});
    missing(verb::get, "/country/list", "本服务暂不提供国家列表", {});
    missing(verb::get, "/operation/contact", "本服务暂不提供客服联系方式", {});
    missing(verb::put, "/user/change_user_type/*", "本服务暂不支持更改面试类型", signedInOnly);
    missing(verb::post, "/user/logoff", "本服务暂不支持注销账号", signedInOnly);
    missing(verb::get, "/ai/token", "本服务暂不支持上传简历", signedInOnly);
    missing(verb::post, "/user/bind_resume/*", "本服务暂不支持绑定简历", signedInOnly);
}

} // namespace parlowen::service
