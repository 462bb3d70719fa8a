#pragma once

#include <QStringList>

namespace parlowen::testing {

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

/// What the one holds and the other does not, marked with - and +, an object a line; empty when they are the same.
std::string differences(const QStringList& before, const QStringList& after);

} // namespace parlowen::testing
