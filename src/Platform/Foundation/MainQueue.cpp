#include "MainQueue.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <cmath>

namespace parlowen {

void onMain(std::function<void()> work) {
    if (QCoreApplication* application = QCoreApplication::instance())
        QMetaObject::invokeMethod(application, std::move(work), Qt::QueuedConnection);
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
