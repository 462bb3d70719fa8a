#include "CodeDelivery.h"

#include "Http/Log.h"
#include "Process/ChildProcess.h"

#include <iostream>
#include <sys/socket.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

std::string international(const PhoneNumber& phone) { return "+" + phone.countryCode + phone.number; }

std::string textOf(const CodeMessage& message) {
    if (message.inEnglish)
        return "Parlowen: your sign-in code is " + message.code + ". It is good for 5 minutes. Tell it to nobody.";
    return "【Parlowen】您的登录验证码是 " + message.code + "，5 分钟内有效。请勿告诉他人。";
}

/// What went wrong with the command; none when nothing did.
std::optional<std::string> problemOf(const ChildEnd& end, std::chrono::milliseconds limit) {
    constexpr int notFound = 127; // of the shell
    if (end.isLate)
        return "had not ended after " + std::to_string(limit.count() / 1'000) + " s and was killed";
    if (end.signal != 0)
        return "was ended by signal " + std::to_string(end.signal);
    if (end.status == 0)
        return std::nullopt;
    return "ended with status " + std::to_string(end.status) +
           (end.status == notFound ? ": there is no such program" : "");
}

bool deliver(const std::string& command, const std::string& input, std::chrono::milliseconds limit) {
    const auto child = ChildProcess::start({"/bin/sh", "-c", command});
    if (!child) {
        logLine("the command for text messages cannot be started");
        return false;
    }
    // Few bytes, which the socket takes whether they are read or not.
    const auto sent = ::send(child->socket(), input.data(), input.size(), MSG_NOSIGNAL);
    ::shutdown(child->socket(), SHUT_WR);
    const ChildEnd end = child->end(limit);
    ::close(child->socket());
    const auto problem = problemOf(end, limit);
    if (problem)
        logLine("the command for text messages " + *problem);
    return sent == static_cast<ssize_t>(input.size()) && !problem;
}

} // namespace

CodeDelivery deliveryByCommand(std::string command, std::chrono::milliseconds limit) {
    return [command = std::move(command), limit](const CodeMessage& message) {
        return deliver(command, international(message.phone) + "\n" + textOf(message) + "\n", limit);
    };
}

CodeDelivery deliveryOnConsole() {
    return [](const CodeMessage& message) {
        std::cout << "login code for " + international(message.phone) + ": " + message.code +
                         " (shown here alone, as no --sms-command is given)\n"
                  << std::flush;
        return bool(std::cout);
    };
}

} // namespace parlowen::service
