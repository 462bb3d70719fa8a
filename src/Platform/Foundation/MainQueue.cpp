#include "MainQueue.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <cmath>
#include <deque>
#include <mutex>

namespace parlowen {

namespace {

/// Lives on the main thread and runs one piece of work for each time that it is woken. The work waits under a lock of
/// our own, so that the order between the threads is plain to see, for the thread sanitizer too, to which Qt's locks
/// are opaque.
class MainRunner : public QObject {
    Q_OBJECT

public:
    void post(std::function<void()> work) {
        const std::lock_guard lock(mutex_);
        pending_.push_back(std::move(work));
        QMetaObject::invokeMethod(this, "runNext", Qt::QueuedConnection);
    }

private:
    Q_INVOKABLE void runNext() {
        std::unique_lock lock(mutex_);
        if (pending_.empty())
            return;
        const std::function<void()> next = std::move(pending_.front());
        pending_.pop_front();
        lock.unlock();
        if (QCoreApplication::instance() != nullptr)
            next();
    }

    std::mutex mutex_;
    std::deque<std::function<void()>> pending_;
};

MainRunner& mainRunner() {
    // Never destroyed: other threads may still post while static objects go.
    static auto* const runner = [] {
        auto* const made = new MainRunner;
        made->moveToThread(QCoreApplication::instance()->thread());
        return made;
    }();
    return *runner;
}

} // namespace

void onMain(std::function<void()> work) {
    if (QCoreApplication::instance() != nullptr)
        mainRunner().post(std::move(work));
}

void onMainAfter(double seconds, std::function<void()> work) {
    if (!isMainThread()) {
        // A timer needs the main thread's loop.
        onMain([seconds, work = std::move(work)] { onMainAfter(seconds, work); });
        return;
    }
    const auto delay = std::chrono::milliseconds(std::lround(seconds * 1000));
    QTimer::singleShot(delay, Qt::PreciseTimer, QCoreApplication::instance(), std::move(work));
}

bool isMainThread() {
    const QCoreApplication* application = QCoreApplication::instance();
    return application != nullptr && QThread::currentThread() == application->thread();
}

} // namespace parlowen

#include "MainQueue.moc"
