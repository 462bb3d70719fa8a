#include "HttpMessage.h"

#include "Wording.h"

#include <algorithm>
#include <array>
#include <boost/url/parse.hpp>

namespace parlowen::service {

namespace {

HttpResponse enveloped(int code, std::string_view message, const nlohmann::json& data, unsigned status) {
    // Members in this order, for people who read it.
    HttpResponse response;
    response.status = status;
    response.message = message;
    response.body = "{\"code\":" + std::to_string(code) + ",\"message\":" + compactJson(message) +
                    ",\"data\":" + compactJson(data) + "}";
    return response;
}

/// Looks for what would be too much before anything is built: the parser's own way to watch it walks over all that an
/// array holds at each object's end. Exact for JSON; of anything else, the parser takes no more than what was seen here
/// up to where it stops.
bool isInBounds(std::string_view json) {
    int depth = 0;
    int values = 1;
    bool inString = false;
    for (std::size_t i = 0; i < json.size() && values <= mostJsonValues; ++i) {
        const char c = json[i];
        if (c == '"')
            inString = !inString;
        else if (inString)
            i += c == '\\' ? 1 : 0;
        else if (c == '[' || c == '{') {
            ++values;
            if (++depth > deepestJson)
                return false;
        } else if (c == ']' || c == '}')
            --depth;
        else if (c == ',')
            ++values;
    }
    return values <= mostJsonValues;
}

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

bool sameWord(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lowered(x) == lowered(y); });
}

bool namesLoopback(std::string_view host) {
    const auto authority = boost::urls::parse_authority({host.data(), host.size()});
    if (!authority || authority->has_userinfo())
        return false;
    boost::system::error_code noAddress;
    const auto address = boost::asio::ip::make_address(authority->host_address(), noAddress);
    return noAddress ? sameWord(std::string(authority->host()), "localhost") : address.is_loopback();
}

std::optional<boost::urls::url_view> parsedTarget(std::string_view target) {
    const auto parsed = boost::urls::parse_origin_form({target.data(), target.size()});
    return parsed ? std::optional(*parsed) : std::nullopt;
}

HttpRequest::HttpRequest(const RawRequest& rawRequest, const boost::urls::url_view& target, Origin requestOrigin)
    : raw(rawRequest)
    , method(rawRequest.method())
    , path(target.path())
    , origin(std::move(requestOrigin))
    , target_(target) {}

std::string_view HttpRequest::header(std::string_view name) const {
    const auto value = raw[boost::beast::string_view(name.data(), name.size())];
    return {value.data(), value.size()};
}

std::string HttpRequest::query(std::string_view name) const {
    const auto parameters = target_.params();
    const auto found = parameters.find({name.data(), name.size()});
    return found == parameters.end() ? std::string() : std::string((*found).value);
}

std::string_view HttpRequest::bearerToken() const {
    constexpr std::string_view scheme = "Bearer ";
    const std::string_view value = header("Authorization");
    const std::string_view start = value.substr(0, scheme.size());
    if (!sameWord(start, scheme))
        return {};
    return value.substr(scheme.size());
}

std::string HttpRequest::Origin::network() const {
    if (!peer.is_v6() || peer.is_loopback() || peer.to_v6().is_v4_mapped())
        return peer.to_string();
    auto bytes = peer.to_v6().to_bytes();
    std::fill(bytes.begin() + bytes.size() / 2, bytes.end(), 0);
    return boost::asio::ip::address_v6(bytes).to_string();
}

bool HttpRequest::isLocal() const {
    constexpr std::array ofProxies{
        "Forwarded",         "Via",      "X-Forwarded-For", "X-Forwarded-Host", "X-Forwarded-Port",
        "X-Forwarded-Proto", "X-Real-IP"};
    const bool isPassedOn = origin.viaProxy || std::any_of(ofProxies.begin(), ofProxies.end(),
                                                           [this](const char* name) { return raw.count(name) > 0; });
    return !isPassedOn && origin.peer.is_loopback() && namesLoopback(header("Host"));
}

void HttpResponse::speakEnglish() {
    const auto english = inEnglish(message);
    const std::string written = compactJson(message);
    const std::size_t at = english ? body.find(written) : std::string::npos;
    if (at == std::string::npos)
        return;
    body.replace(at, written.size(), compactJson(*english));
    message = *english;
}

HttpResponse success(const nlohmann::json& data, std::string_view message) { return enveloped(0, message, data, 200); }

HttpResponse failure(int code, std::string_view message, unsigned status) {
    return enveloped(code, message, nullptr, status);
}

HttpResponse badRequest(std::string_view message) { return failure(400, message, 400); }

HttpResponse unauthorized() { return failure(401, "登录已失效，请重新登录", 401); }

HttpResponse notFound() { return failure(404, "没有这个接口", 404); }

HttpResponse methodNotAllowed(std::string allowed) {
    HttpResponse response = failure(405, "这个接口不支持该请求方法", 405);
    response.headers.emplace_back("Allow", std::move(allowed));
    return response;
}

HttpResponse tooLarge() { return failure(413, "请求内容过大", 413); }

HttpResponse busy(std::string_view what, std::chrono::seconds wait) {
    const std::string seconds = std::to_string(wait.count());
    HttpResponse response = failure(503, std::string(what) + "，请在 " + seconds + " 秒后再试", 503);
    response.headers.emplace_back("Retry-After", seconds);
    return response;
}

HttpResponse internalError() { return failure(500, "服务内部错误，请稍后再试", 500); }

std::optional<nlohmann::json> jsonObject(std::string_view text) {
    if (!isInBounds(text))
        return std::nullopt;
    std::optional<nlohmann::json> value(nlohmann::json::parse(text, nullptr, false));
    if (!value->is_object())
        value.reset();
    return value;
}

std::string textMember(const nlohmann::json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

std::string compactJson(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace parlowen::service
