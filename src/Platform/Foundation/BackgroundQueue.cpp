#include "BackgroundQueue.h"

#include <QThreadPool>
#include <utility>

namespace parlowen {

void inBackground(std::function<void()> work) { QThreadPool::globalInstance()->start(std::move(work)); }

void waitForBackground() { QThreadPool::globalInstance()->waitForDone(); }

} // namespace parlowen
