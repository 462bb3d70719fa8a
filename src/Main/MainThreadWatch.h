#pragma once

#include <QElapsedTimer>
#include <QObject>

namespace parlowen {

/// Measures how long the main thread works, or waits for something, before it looks at its events again: for so long a
/// window is frozen. Made on the main thread once the application object is there.
class MainThreadWatch : public QObject {
public:
    MainThreadWatch();

    /// The longest such time so far, in milliseconds.
    qint64 longestStop() const { return longest_; }

private:
    QElapsedTimer awake_;
    qint64 longest_ = 0;
};

} // namespace parlowen
