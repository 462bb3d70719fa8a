#pragma once

#include <QObject>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace parlowen {

/// Work that waits to be run: first come, first served. The one place where work passes from thread to thread, under a
/// lock of our own, so that the order between the threads is plain to see, for the thread sanitizer too, to which Qt's
/// locks are opaque. Any thread.
class WorkQueue {
public:
    /// Adds work, and calls `wake` under the lock; false, and neither, when the queue is closed.
    bool push(std::function<void()> work, const std::function<void()>& wake = {});
    /// Runs the first piece of work, without the lock, and lets go of it; false when there is none.
    bool runNext();
    /// Waits for work and runs it; false when the queue is closed and empty.
    bool waitAndRunNext();
    /// Takes no more work. What waits is still run.
    void close();

private:
    bool runFirst(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> pending_;
    bool isClosed_ = false;
};

/// A queue whose work is run by the event loop of the thread that this object lives on.
class EventLoopQueue : public QObject {
    Q_OBJECT

public:
    /// Has the work run later; nothing happens when the queue is closed. Any thread.
    void post(std::function<void()> work);
    /// Takes no more work. Any thread.
    void close() { queue_.close(); }

private:
    Q_INVOKABLE void runNext() { queue_.runNext(); }

    WorkQueue queue_;
};

} // namespace parlowen
