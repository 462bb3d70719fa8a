#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <utility>

/// The main queue: the Qt event loop of the main thread. All of these may be called on any thread; the work always runs
/// later, on the main thread, in the order of the calls, and never after the application object is gone.
namespace parlowen {

/// Runs the work on the main thread.
void onMain(std::function<void()> work);

/// Runs the work on the main thread, `seconds` (0 or more) later.
void onMainAfter(double seconds, std::function<void()> work);

/// True on the thread that runs the application object.
bool isMainThread();

/// Runs the work on the main thread unless the context is gone by then. Off the main thread pass a QPointer that was
/// made on it.
template<class T>
void onMain(QPointer<T> context, std::function<void()> work) {
    onMain([context = std::move(context), work = std::move(work)] {
        if (context)
            work();
    });
}

/// Runs the work on the main thread with the object, unless it is gone by then.
template<class T, class Work>
void onMain(std::weak_ptr<T> context, Work work) {
    onMain(std::function<void()>([context = std::move(context), work = std::move(work)] {
        if (const std::shared_ptr<T> alive = context.lock())
            work(*alive);
    }));
}

/// Runs the work on the main thread `seconds` later unless the context is gone by then.
template<class T>
void afterDelay(double seconds, QPointer<T> context, std::function<void()> work) {
    onMainAfter(seconds, [context = std::move(context), work = std::move(work)] {
        if (context)
            work();
    });
}

} // namespace parlowen
