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

/// What an audio server has and does, as another program sees it, without what differs between two moments or runs of
/// the same: numbers of objects, latencies, states, process ids.
struct ServerDump {
    /// Defaults, modules, cards, sinks and sources with their volumes, streams with what they are routed to: an object
    /// an entry, sorted.
    QStringList others;
    /// The application's own streams, such as "recording speakers.monitor", sorted. Clients without one are left out.
    QStringList ours;
};

/// Of the server that PULSE_SERVER names. A test fails when it does not answer.
ServerDump dumpServer();

/// What one sorted list holds and the other does not, marked with - and +, an entry a line; empty when they are the
/// same.
std::string differences(const QStringList& before, const QStringList& after);

} // namespace parlowen::testing
