#pragma once

#include <QString>
#include <functional>

namespace parlowen {

/// Writes one line to the console log (standard error, UTF-8). Any thread.
void consoleLog(const QString& line);

/// Writes one line to the system log (syslog, facility "user", level "warning", UTF-8); where no system log listens, to
/// standard error with the prefix "parlowen: ". Any thread.
void systemLog(const QString& line);

/// Whether lines for the system log go to standard error where none listens, as they do unless it is set to false.
void setSystemLogOnStandardError(bool on);

struct LogTarget;

/// Takes a log's lines for as long as it lives. At most one a log at a time. The sink is called on the logging thread,
/// one line at a time.
class LogCapture {
public:
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

protected:
    LogCapture(LogTarget& target, std::function<void(const QString&)> sink);
    ~LogCapture();

private:
    LogTarget& target_;
};

/// Of the console log.
struct ConsoleLogCapture : LogCapture {
    explicit ConsoleLogCapture(std::function<void(const QString&)> sink);
};

/// Of the system log.
struct SystemLogCapture : LogCapture {
    explicit SystemLogCapture(std::function<void(const QString&)> sink);
};

} // namespace parlowen
