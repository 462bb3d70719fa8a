#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace parlowen {

/// Measures how late the main thread looks at its events: for so long a window is frozen. It wakes the thread fifty
/// times a second for it, so it is for looking into things alone. Main thread only.
class MainThreadWatch : public QObject {
public:
    MainThreadWatch();

    /// The longest delay so far, in milliseconds.
    qint64 longestStop() const { return longest_; }

private:
    QTimer beat_;
    QElapsedTimer last_;
    qint64 longest_ = 0;
};

} // namespace parlowen
