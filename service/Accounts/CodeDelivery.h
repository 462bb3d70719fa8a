#pragma once

#include "AccountStore.h"

#include <chrono>
#include <functional>

namespace parlowen::service {

/// Brings a login code to a phone; false when that failed. May block for seconds. Called on a worker thread.
using CodeDelivery = std::function<bool(const PhoneNumber& phone, const std::string& code)>;

/// How long a command may take.
inline constexpr std::chrono::seconds deliveryTime{10};

/// Runs a command of the shell for each code. Its standard input has the number, with "+", on the first line and the
/// text on the second; nothing of either is in its arguments or environment. It has to end with status 0 in time.
CodeDelivery deliveryByCommand(std::string command, std::chrono::milliseconds limit = deliveryTime);
/// Prints a line with number and code to standard output, which says that it is shown there alone.
CodeDelivery deliveryOnConsole();

} // namespace parlowen::service
