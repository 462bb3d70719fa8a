#pragma once

#include <QStringList>
#include <string>

namespace parlowen::testing {

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
