#pragma once

#include <QString>
#include <functional>

namespace parlowen {

/// Writes one line to the system log (syslog, facility "user", level "warning", UTF-8); where no system log listens, to
/// standard error with the prefix "parlowen: ". Any thread.
void systemLog(const QString& line);

/// Whether such lines go to standard error where no system log listens, as they do unless it is set to false.
void setSystemLogOnStandardError(bool on);

/// Takes the system log's lines for as long as it lives. At most one at a time. The sink is called on the logging
/// thread, one line at a time.
class SystemLogCapture {
public:
    explicit SystemLogCapture(std::function<void(const QString&)> sink);
    ~SystemLogCapture();
    SystemLogCapture(const SystemLogCapture&) = delete;
    SystemLogCapture& operator=(const SystemLogCapture&) = delete;
};

} // namespace parlowen
