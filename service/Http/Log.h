#pragma once

#include <ctime>
#include <exception>
#include <string>
#include <string_view>

namespace parlowen::service {

/// A time as people of this place read it: "2024-05-31 14:03:00". Any thread.
std::string localTime(std::time_t time);

/// Writes one line with the time to standard error. Never a password, a token or a phone number. Any thread.
void logLine(std::string_view text);

/// What an exception says, without the line of a library's source that Boost's end with.
std::string reasonOf(const std::exception& problem);

/// Writes "WHERE: REASON".
void logProblem(std::string_view where, const std::exception& problem);

} // namespace parlowen::service
