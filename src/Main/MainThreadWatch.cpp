#include "MainThreadWatch.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {
constexpr int beatMilliseconds = 20;
}

MainThreadWatch::MainThreadWatch()
    : schedule_(QStringLiteral("/proc/thread-self/schedstat")) {
    schedule_.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    waited_ = waitedForProcessor();
    beat_.setTimerType(Qt::PreciseTimer);
    connect(&beat_, &QTimer::timeout, this, &MainThreadWatch::beat);
    last_.start();
    beat_.start(beatMilliseconds);
}

void MainThreadWatch::beat() {
    const qint64 passed = last_.restart();
    const qint64 waited = waitedForProcessor();
    longest_ = std::max(longest_, passed - beatMilliseconds - (waited - std::exchange(waited_, waited)));
}

qint64 MainThreadWatch::waitedForProcessor() {
    schedule_.seek(0);
    const QList<QByteArray> numbers = schedule_.readLine().split(' ');
    return numbers.size() > 1 ? numbers[1].toLongLong() / 1'000'000 : 0;
}

} // namespace parlowen
