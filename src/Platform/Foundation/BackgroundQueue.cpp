#include "BackgroundQueue.h"

#include <QThreadPool>
#include <deque>
#include <mutex>
#include <utility>

namespace parlowen {

namespace {

/// The work waits here rather than in Qt's pool, under a lock that the thread sanitizer can see.
struct Pending {
    std::mutex mutex;
    std::deque<std::function<void()>> work;
};

Pending& pending() {
    static auto* const instance = new Pending;
    return *instance;
}

void runNext() {
    std::unique_lock lock(pending().mutex);
    const std::function<void()> next = std::move(pending().work.front());
    pending().work.pop_front();
    lock.unlock();
    next();
}

} // namespace

void inBackground(std::function<void()> work) {
    {
        const std::lock_guard lock(pending().mutex);
        pending().work.push_back(std::move(work));
    }
    QThreadPool::globalInstance()->start(runNext);
}

void waitForBackground() { QThreadPool::globalInstance()->waitForDone(); }

} // namespace parlowen
