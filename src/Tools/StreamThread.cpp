#include "StreamThread.h"

#include <QCoreApplication>
#include <utility>

namespace parlowen {

namespace {

constexpr std::size_t idleManagers = 2;

} // namespace

/// Runs one piece of work for each time that it is woken. The work itself waits under the thread's own lock, so that
/// the order between the threads is plain to see, for the thread sanitizer too.
class StreamThread::Runner : public QObject {
    Q_OBJECT

public:
    explicit Runner(StreamThread& thread)
        : thread_(thread) {}
    Q_INVOKABLE void wake() { thread_.runNext(); }

private:
    StreamThread& thread_;
};

StreamThread::StreamThread()
    : root_(new Runner(*this)) {
    thread_.setObjectName("answer-streams");
    root_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, root_, &QObject::deleteLater);
    thread_.start();
}

StreamThread& StreamThread::shared() {
    static auto* const instance = [] {
        auto* const made = new StreamThread;
        qAddPostRoutine([] { shared().end(); });
        return made;
    }();
    return *instance;
}

void StreamThread::end() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    thread_.quit();
    thread_.wait();
}

void StreamThread::post(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    if (ended_)
        return;
    work_.push_back(std::move(work));
    QMetaObject::invokeMethod(root_, "wake", Qt::QueuedConnection);
}

void StreamThread::runNext() {
    std::unique_lock lock(mutex_);
    const std::function<void()> next = std::move(work_.front());
    work_.pop_front();
    lock.unlock();
    next();
}

QNetworkAccessManager& StreamThread::borrowManager() {
    if (idle_.empty())
        return *new QNetworkAccessManager(root_);
    QNetworkAccessManager& manager = *idle_.back();
    idle_.pop_back();
    return manager;
}

void StreamThread::giveBack(QNetworkAccessManager& manager) {
    if (idle_.size() < idleManagers)
        idle_.push_back(&manager);
    else
        manager.deleteLater();
}

} // namespace parlowen

#include "StreamThread.moc"
