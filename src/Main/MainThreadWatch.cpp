#include "MainThreadWatch.h"

#include <algorithm>

namespace parlowen {

MainThreadWatch::MainThreadWatch() {
    constexpr int milliseconds = 20;
    beat_.setTimerType(Qt::PreciseTimer);
    connect(&beat_, &QTimer::timeout, this,
            [this] { longest_ = std::max(longest_, last_.restart() - qint64{milliseconds}); });
    last_.start();
    beat_.start(milliseconds);
}

} // namespace parlowen
