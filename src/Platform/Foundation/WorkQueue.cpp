#include "WorkQueue.h"

#include <utility>

namespace parlowen {

bool WorkQueue::push(std::function<void()> work, const std::function<void()>& wake) {
    const std::lock_guard lock(mutex_);
    if (isClosed_)
        return false;
    pending_.push_back(std::move(work));
    arrived_.notify_one();
    if (wake)
        wake();
    return true;
}

bool WorkQueue::runNext() {
    std::unique_lock lock(mutex_);
    return runFirst(lock);
}

bool WorkQueue::waitAndRunNext() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return isClosed_ || !pending_.empty(); });
    return runFirst(lock);
}

void WorkQueue::close() {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    arrived_.notify_all();
}

bool WorkQueue::runFirst(std::unique_lock<std::mutex>& lock) {
    if (pending_.empty())
        return false;
    const std::function<void()> work = std::move(pending_.front());
    pending_.pop_front();
    lock.unlock();
    work();
    return true;
}

void EventLoopQueue::post(std::function<void()> work) {
    queue_.push(std::move(work), [this] { QMetaObject::invokeMethod(this, "runNext", Qt::QueuedConnection); });
}

} // namespace parlowen

#include "moc_WorkQueue.cpp"
