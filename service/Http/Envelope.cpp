#include "Envelope.h"

namespace parlowen::service {

std::string compactJson(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

HttpResponse success(nlohmann::json data) {
    nlohmann::ordered_json envelope;
    envelope["code"] = 0;
    envelope["message"] = "";
    envelope["data"] = std::move(data);
    HttpResponse response;
    response.body = envelope.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return response;
}

HttpResponse failure(int code, std::string message, unsigned status) {
    nlohmann::ordered_json envelope;
    envelope["code"] = code;
    envelope["message"] = std::move(message);
    envelope["data"] = nullptr;
    HttpResponse response;
    response.status = status;
    response.body = envelope.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return response;
}

HttpResponse badRequest(std::string message) { return failure(400, std::move(message), 400); }

HttpResponse unauthorized() { return failure(401, "登录已失效，请重新登录", 401); }

HttpResponse notFound() { return failure(404, "没有这个接口", 404); }

HttpResponse methodNotAllowed(std::string allowed) {
    HttpResponse response = failure(405, "这个接口不支持该请求方法", 405);
    response.headers.emplace_back("Allow", std::move(allowed));
    return response;
}

HttpResponse internalError() { return failure(500, "服务内部错误，请稍后再试", 500); }

std::optional<nlohmann::json> jsonObject(const HttpRequest& request) {
    auto value = nlohmann::json::parse(request.body, nullptr, false);
    if (!value.is_object())
        return std::nullopt;
    return value;
}

std::string textMember(const nlohmann::json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

} // namespace parlowen::service
