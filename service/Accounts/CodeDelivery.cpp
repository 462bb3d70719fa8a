#include "CodeDelivery.h"

#include "Http/Log.h"
#include "Process/ChildProcess.h"

#include <iostream>
#include <sys/socket.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

std::string international(const PhoneNumber& phone) { return "+" + phone.countryCode + phone.number; }

std::string textOf(const std::string& code) {
    return "【Parlowen】您的登录验证码是 " + code + "，5 分钟内有效。请勿告诉他人。";
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
    if (end.signal != 0)
        logLine("the command for text messages was ended by signal " + std::to_string(end.signal));
    else if (end.status != 0)
        logLine("the command for text messages ended with status " + std::to_string(end.status));
    return sent == static_cast<ssize_t>(input.size()) && end.signal == 0 && end.status == 0;
}

} // namespace

CodeDelivery deliveryByCommand(std::string command, std::chrono::milliseconds limit) {
    return [command = std::move(command), limit](const PhoneNumber& phone, const std::string& code) {
        return deliver(command, international(phone) + "\n" + textOf(code) + "\n", limit);
    };
}

CodeDelivery deliveryOnConsole() {
    return [](const PhoneNumber& phone, const std::string& code) {
        std::cout << "login code for " + international(phone) + ": " + code +
                         " (shown here alone, as no --sms-command is given)\n"
                  << std::flush;
        return bool(std::cout);
    };
}

} // namespace parlowen::service
