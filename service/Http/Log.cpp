#include "Log.h"

#include <array>
#include <unistd.h>

namespace parlowen::service {

std::string localTime(std::time_t time) {
    std::tm parts{};
    localtime_r(&time, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%F %T", &parts)};
}

void logLine(std::string_view text) {
    std::string line = localTime(std::time(nullptr)).append(" ").append(text).append("\n");
    // One write a line, so that threads do not mix theirs. There is nowhere to report that the log is gone.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

} // namespace parlowen::service
