#pragma once

#include <QStringList>
#include <functional>
#include <memory>

#include "WaitFor.h"

namespace parlowen::testing {

/// Runs pactl on the server that PULSE_SERVER names and returns what it prints. A test fails when pactl does,
/// unless it may.
QString control(const QStringList& arguments, bool mayFail = false);

/// Waits for the audio server that PULSE_SERVER names by listening to its changes, rather than by asking it again and
/// again.
class ServerWatch {
public:
    /// Listens from here on.
    ServerWatch();
    ~ServerWatch();
    ServerWatch(const ServerWatch&) = delete;
    ServerWatch& operator=(const ServerWatch&) = delete;

    /// Whether the condition holds within the bound. It is looked at first, and after changes of devices, streams,
    /// modules, defaults and of this connection; it may ask the server.
    bool until(const std::function<bool()>& condition, int milliseconds = 10'000);
    /// Waits until nothing has changed for half a second, ten seconds at most.
    void untilQuiet();

private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

/// What the audio server that PULSE_SERVER names has and does, as another program sees it, but for the application: an
/// entry a default, module, device (with volume and mute) and stream (with what it is routed to), sorted. A test fails
/// when it does not answer.
QStringList dumpServer();

/// The application's own streams on it, such as "recording speakers.monitor", sorted.
QStringList applicationStreams();

/// What one sorted list holds and the other does not, marked with - and +, an entry a line; empty when they are the
/// same.
std::string differences(const QStringList& before, const QStringList& after);

} // namespace parlowen::testing
