#include "SystemLog.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace parlowen {

namespace {

struct Log {
    std::mutex mutex;
    std::function<void(const QString&)> sink;
    bool onStandardError = true;
};

Log& log() {
    // Never destroyed: worker threads may still log while static objects go.
    static auto* const instance = [] {
        openlog("parlowen", LOG_PID, LOG_USER);
        return new Log;
    }();
    return *instance;
}

} // namespace

void systemLog(const QString& line) {
    Log& target = log();
    const std::lock_guard lock(target.mutex);
    if (target.sink) {
        target.sink(line);
        return;
    }
    const QByteArray bytes = line.toUtf8();
    if (access("/dev/log", W_OK) == 0)
        syslog(LOG_WARNING, "%s", bytes.constData());
    else if (target.onStandardError)
        std::fprintf(stderr, "parlowen: %s\n", bytes.constData());
}

void setSystemLogOnStandardError(bool on) {
    const std::lock_guard lock(log().mutex);
    log().onStandardError = on;
}

SystemLogCapture::SystemLogCapture(std::function<void(const QString&)> sink) {
    const std::lock_guard lock(log().mutex);
    log().sink = std::move(sink);
}

SystemLogCapture::~SystemLogCapture() {
    const std::lock_guard lock(log().mutex);
    log().sink = nullptr;
}

} // namespace parlowen
