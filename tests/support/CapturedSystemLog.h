#pragma once

#include <Foundation/SystemLog.h>

#include <QStringList>
#include <mutex>

namespace parlowen::testing {

/// Keeps the system log's lines for as long as it lives.
class CapturedSystemLog {
public:
    QStringList lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    mutable std::mutex mutex_;
    QStringList lines_;
    SystemLogCapture capture_{[this](const QString& line) {
        const std::lock_guard lock(mutex_);
        lines_ << line;
    }};
};

} // namespace parlowen::testing
