#include "MainThreadWatch.h"

#include <QAbstractEventDispatcher>
#include <algorithm>

namespace parlowen {

MainThreadWatch::MainThreadWatch() {
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { awake_.start(); });
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] {
        if (awake_.isValid())
            longest_ = std::max(longest_, awake_.elapsed());
        awake_.invalidate();
    });
}

} // namespace parlowen
