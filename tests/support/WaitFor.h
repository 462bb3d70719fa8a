#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <functional>

namespace parlowen::testing {

/// Runs the event loop until the condition holds; false when it did not hold within the bound.
inline bool waitFor(const std::function<bool()>& condition, int milliseconds = 40'000) {
    const QDeadlineTimer deadline(milliseconds);
    // It ends the wait for more events; processEvents() with a time would not wait at all.
    QTimer look;
    look.start(5);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

/// Runs the event loop for as long as the condition holds, at most for the bound; true when it held throughout.
inline bool holdsFor(const std::function<bool()>& condition, int milliseconds) {
    return !waitFor([&condition] { return !condition(); }, milliseconds);
}

} // namespace parlowen::testing
