#include "MainQueue.h"

#include "WorkQueue.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <cmath>
#include <utility>

namespace parlowen {

namespace {

EventLoopQueue& mainQueue() {
    // Never destroyed: other threads may still post while static objects go.
    static auto* const queue = [] {
        auto* const made = new EventLoopQueue;
        made->moveToThread(QCoreApplication::instance()->thread());
        return made;
    }();
    return *queue;
}

} // namespace

void onMain(std::function<void()> work) {
    if (QCoreApplication::instance() == nullptr)
        return;
    mainQueue().post([work = std::move(work)] {
        if (QCoreApplication::instance() != nullptr)
            work();
    });
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
