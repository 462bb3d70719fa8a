#include "ConsoleLog.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace parlowen {

namespace {

struct Console {
    std::mutex mutex;
    std::function<void(const QString&)> sink;
};

Console& console() {
    // Never destroyed: worker threads may still log while static objects go.
    static auto* const instance = new Console;
    return *instance;
}

} // namespace

void consoleLog(const QString& line) {
    Console& log = console();
    const std::lock_guard lock(log.mutex);
    if (log.sink) {
        log.sink(line);
        return;
    }
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
}

ConsoleLogCapture::ConsoleLogCapture(std::function<void(const QString&)> sink) {
    const std::lock_guard lock(console().mutex);
    console().sink = std::move(sink);
}

ConsoleLogCapture::~ConsoleLogCapture() {
    const std::lock_guard lock(console().mutex);
    console().sink = nullptr;
}

} // namespace parlowen
