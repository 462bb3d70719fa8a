#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QTimer>

namespace parlowen {

/// Measures how late the main thread looks at its events because it works or waits for something: for so long a window
/// is frozen. What it waits for a processor that others use does not count. It wakes the thread fifty times a second
/// for it, so it is for looking into things alone. Main thread only.
class MainThreadWatch : public QObject {
public:
    MainThreadWatch();

    /// The longest delay so far, in milliseconds.
    qint64 longestStop() const { return longest_; }

private:
    void beat();
    /// What the thread has waited for a processor since it began, in milliseconds: the second number that the kernel
    /// gives in schedstat (nanoseconds); 0 where it gives none.
    qint64 waitedForProcessor();

    QTimer beat_;
    QElapsedTimer last_;
    QFile schedule_;
    qint64 waited_ = 0;
    qint64 longest_ = 0;
};

} // namespace parlowen
