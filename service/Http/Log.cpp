#include "Log.h"

#include <algorithm>
#include <array>
#include <boost/system/system_error.hpp>
#include <unistd.h>

namespace parlowen::service {

std::string localTime(std::time_t time) {
    std::tm parts{};
    localtime_r(&time, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%F %T", &parts)};
}

void logLine(std::string_view text) {
    std::string line = localTime(std::time(nullptr)).append(" ").append(text);
    // What others chose may be part of the text, and makes no lines of its own.
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    std::replace_if(line.begin(), line.end(), isControl, '?');
    line.push_back('\n');
    // One write a line, so that threads do not mix theirs. There is nowhere to report that the log is gone.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

std::string reasonOf(const std::exception& problem) {
    std::string reason = problem.what();
    if (const auto* ofBoost = dynamic_cast<const boost::system::system_error*>(&problem))
        reason.erase(std::min(reason.size(), reason.rfind(" [" + ofBoost->code().to_string())));
    return reason;
}

void logProblem(std::string_view where, const std::exception& problem) {
    logLine(std::string(where) + ": " + reasonOf(problem));
}

} // namespace parlowen::service
