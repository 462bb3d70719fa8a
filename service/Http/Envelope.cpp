#include "Envelope.h"

namespace parlowen::service {

namespace {

HttpResponse enveloped(int code, std::string_view message, const nlohmann::json& data, unsigned status) {
    // Members in this order, for people who read it.
    HttpResponse response;
    response.status = status;
    response.body = "{\"code\":" + std::to_string(code) + ",\"message\":" + compactJson(message) +
                    ",\"data\":" + compactJson(data) + "}";
    return response;
}

} // namespace

std::string compactJson(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

HttpResponse success(const nlohmann::json& data) { return enveloped(0, {}, data, 200); }

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

HttpResponse internalError() { return failure(500, "服务内部错误，请稍后再试", 500); }

std::optional<nlohmann::json> jsonObject(std::string_view text) {
    bool tooDeep = false;
    const auto inBounds = [&tooDeep](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
        tooDeep = tooDeep || depth > deepestJson;
        return !tooDeep; // false drops the value, so that nothing deep is ever built
    };
    std::optional<nlohmann::json> value(nlohmann::json::parse(text, inBounds, false));
    if (tooDeep || !value->is_object())
        value.reset();
    return value;
}

std::string textMember(const nlohmann::json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

} // namespace parlowen::service
