#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace parlowen::service {

/// A time as people of this place read it: "2024-05-31 14:03:00". Any thread.
std::string localTime(std::time_t time);

/// Writes one line with the time to standard error. Never a password, a token or a phone number. Any thread.
void logLine(std::string_view text);

} // namespace parlowen::service
