#pragma once

#include "HttpMessage.h"

#include <nlohmann/json.hpp>
#include <optional>

namespace parlowen::service {

/// The form of every JSON reply: {"code":0,"message":"","data":…}, compact, UTF-8.
HttpResponse success(const nlohmann::json& data = nullptr);
/// A reply whose code is not 0, with a message for the user. The HTTP status stays 200 unless it is given.
HttpResponse failure(int code, std::string_view message, unsigned status = 200);

HttpResponse badRequest(std::string_view message = "请求格式不正确");
HttpResponse unauthorized();
HttpResponse notFound();
HttpResponse methodNotAllowed(std::string allowed);
HttpResponse internalError();

/// How deep objects and arrays of foreign JSON may lie in each other: what walks through a value does so recursively.
inline constexpr int deepestJson = 32;
/// The JSON object in a text of anybody's; none when it is anything else, or deeper than `deepestJson`.
std::optional<nlohmann::json> jsonObject(std::string_view text);
/// A member that is a string; empty when it is missing or anything else.
std::string textMember(const nlohmann::json& object, const char* name);
/// Compact JSON text; bytes that are no UTF-8 are replaced.
std::string compactJson(const nlohmann::json& value);

} // namespace parlowen::service
