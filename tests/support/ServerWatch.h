#pragma once

#include "EitherAudioServer.h"

#include <functional>
#include <utility>

namespace parlowen::testing {

/// Waits for an audio server by listening to its changes, rather than by asking it again and again.
class ServerWatch {
public:
    ServerWatch() { endWithParent(process_); }
    ~ServerWatch() {
        process_.kill();
        process_.waitForFinished();
    }
    ServerWatch(const ServerWatch&) = delete;
    ServerWatch& operator=(const ServerWatch&) = delete;

    /// Whether the condition holds within the bound. It is looked at first, and after changes of devices, streams,
    /// modules and defaults; it may ask the server.
    bool until(const std::function<bool()>& condition, int milliseconds = 10'000) {
        const QDeadlineTimer deadline(milliseconds);
        do {
            if (!listen())
                return false;
            if (condition())
                return true;
        } while (waitFor([this] { return hasChanged(); }, static_cast<int>(deadline.remainingTime())));
        return condition();
    }

private:
    /// Listens from here on; every question to the server is a client that comes, and shows whether it does already.
    bool listen() {
        if (process_.state() != QProcess::NotRunning)
            return true;
        process_.start(QStringLiteral("pactl"), {QStringLiteral("subscribe")});
        return waitFor([this] {
            control({"info"});
            return process_.waitForReadyRead(20) || process_.state() == QProcess::NotRunning;
        });
    }
    bool hasChanged() {
        bool changed = process_.state() == QProcess::NotRunning;
        while (process_.canReadLine())
            changed |= !process_.readLine().contains(" on client ");
        return changed;
    }

    QProcess process_;
};

} // namespace parlowen::testing
