#pragma once

#include "AccountStore.h"

#include <chrono>
#include <functional>

namespace parlowen::service {

/// A login code on its way.
struct CodeMessage {
    PhoneNumber phone;
    std::string code;
    bool inEnglish = false; ///< what its owner reads, instead of Chinese
};

/// Brings it to the phone; false when that failed. May block for seconds. Called on a worker thread.
using CodeDelivery = std::function<bool(const CodeMessage& message)>;

/// How long a command may take.
inline constexpr std::chrono::seconds deliveryTime{10};

/// Runs a command of the shell for each code. Its standard input has the number, with "+", on the first line and the
/// text on the second; nothing of either is in its arguments or environment. It has to end with status 0 in time.
CodeDelivery deliveryByCommand(std::string command, std::chrono::milliseconds limit = deliveryTime);
/// Prints a line with number and code to standard output, which says that it is shown there alone.
CodeDelivery deliveryOnConsole();

} // namespace parlowen::service
