#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

/// What the service says in Chinese, in English; none when it is no message of its own. Numbers in it stay.
std::optional<std::string> inEnglish(std::string_view message);

/// Whether the first language of an Accept-Language header (RFC 9110, 12.5.4) is English.
bool prefersEnglish(std::string_view acceptLanguage);

} // namespace parlowen::service
