#pragma once

#include <QString>
#include <functional>

namespace parlowen {

/// Writes one line to the console log (standard error, UTF-8). Any thread.
void consoleLog(const QString& line);

/// Takes the console log's lines instead of standard error for as long as it lives. At most one at a time.
/// The sink is called on the logging thread, one line at a time.
class ConsoleLogCapture {
public:
    explicit ConsoleLogCapture(std::function<void(const QString&)> sink);
    ~ConsoleLogCapture();
    ConsoleLogCapture(const ConsoleLogCapture&) = delete;
    ConsoleLogCapture& operator=(const ConsoleLogCapture&) = delete;
};

} // namespace parlowen
