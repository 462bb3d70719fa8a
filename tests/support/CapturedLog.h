#pragma once

#include <Foundation/ConsoleLog.h>
#include <QStringList>
#include <mutex>

namespace parlowen::testing {

/// Keeps a log's lines for as long as it lives.
template<class Capture>
class CapturedLines {
public:
    QStringList lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    /// The lines that start with the prefix.
    QStringList linesWith(const QString& prefix) const {
        QStringList found = lines();
        found.removeIf([&prefix](const QString& line) { return !line.startsWith(prefix); });
        return found;
    }

private:
    mutable std::mutex mutex_;
    QStringList lines_;
    Capture capture_{[this](const QString& line) {
        const std::lock_guard lock(mutex_);
        lines_ << line;
    }};
};

using CapturedLog = CapturedLines<ConsoleLogCapture>;
using CapturedSystemLog = CapturedLines<SystemLogCapture>;

} // namespace parlowen::testing
