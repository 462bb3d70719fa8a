#pragma once

#include <string_view>

namespace parlowen::service {

/// Writes one line with the time to standard error. Never a password, a token or a phone number. Any thread.
void logLine(std::string_view text);

} // namespace parlowen::service
