#include "BackgroundQueue.h"

#include "WorkQueue.h"

#include <QThreadPool>
#include <utility>

namespace parlowen {

void inBackground(std::function<void()> work) {
    static auto* const queue = new WorkQueue; // never destroyed: other threads may still post while static objects go
    queue->push(std::move(work));
    QThreadPool::globalInstance()->start([] { queue->runNext(); });
}

void waitForBackground() { QThreadPool::globalInstance()->waitForDone(); }

} // namespace parlowen
