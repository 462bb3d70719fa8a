#include "ConsoleLog.h"

#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

namespace parlowen {

struct LogTarget {
    std::mutex mutex;
    std::function<void(const QString&)> sink;

    /// Gives the line to whoever takes it, else to `write`.
    void log(const QString& line, void (*write)(const QByteArray&)) {
        const std::lock_guard lock(mutex);
        if (sink)
            sink(line);
        else
            write(line.toUtf8());
    }
};

namespace {

std::atomic<bool> systemLogOnStandardError = true;

// Neither is ever destroyed: worker threads may still log while static objects go.

LogTarget& console() {
    static auto* const target = new LogTarget;
    return *target;
}

LogTarget& system() {
    static auto* const target = [] {
        openlog("parlowen", LOG_PID, LOG_USER);
        return new LogTarget;
    }();
    return *target;
}

} // namespace

void consoleLog(const QString& line) {
    console().log(line, [](const QByteArray& bytes) {
        const QByteArray whole = bytes + '\n'; // in one piece
        std::fwrite(whole.constData(), 1, static_cast<std::size_t>(whole.size()), stderr);
    });
}

void systemLog(const QString& line) {
    system().log(line, [](const QByteArray& bytes) {
        if (access("/dev/log", W_OK) == 0)
            syslog(LOG_WARNING, "%s", bytes.constData());
        else if (systemLogOnStandardError)
            std::fprintf(stderr, "parlowen: %s\n", bytes.constData());
    });
}

void setSystemLogOnStandardError(bool on) { systemLogOnStandardError = on; }

LogCapture::LogCapture(LogTarget& target, std::function<void(const QString&)> sink)
    : target_(target) {
    const std::lock_guard lock(target_.mutex);
    target_.sink = std::move(sink);
}

LogCapture::~LogCapture() {
    const std::lock_guard lock(target_.mutex);
    target_.sink = nullptr;
}

ConsoleLogCapture::ConsoleLogCapture(std::function<void(const QString&)> sink)
    : LogCapture(console(), std::move(sink)) {}

SystemLogCapture::SystemLogCapture(std::function<void(const QString&)> sink)
    : LogCapture(system(), std::move(sink)) {}

} // namespace parlowen
