#include "Log.h"

#include <array>
#include <ctime>
#include <string>
#include <unistd.h>

namespace parlowen::service {

void logLine(std::string_view text) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    std::array<char, 32> stamp{};
    const std::size_t length = std::strftime(stamp.data(), stamp.size(), "%F %T ", &parts);
    std::string line(stamp.data(), length);
    line.append(text).push_back('\n');
    // One write a line, so that threads do not mix theirs. There is nowhere to report that the log is gone.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

} // namespace parlowen::service
