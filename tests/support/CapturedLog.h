#pragma once

#include <Foundation/ConsoleLog.h>

#include <QStringList>
#include <mutex>

namespace parlowen::testing {

/// Keeps the console log's lines for as long as it lives.
class CapturedLog {
public:
    QStringList lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    /// The lines that start with the prefix.
    QStringList linesWith(const QString& prefix) const {
        QStringList found;
        for (const QString& line : lines()) {
            if (line.startsWith(prefix))
                found << line;
        }
        return found;
    }

private:
    mutable std::mutex mutex_;
    QStringList lines_;
    ConsoleLogCapture capture_{[this](const QString& line) {
        const std::lock_guard lock(mutex_);
        lines_ << line;
    }};
};

} // namespace parlowen::testing
