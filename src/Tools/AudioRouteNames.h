#pragma once

#include <CoreAudio/LoopbackDevice.h>

#include <QString>

/// The names that the router's two devices go by on every machine.
namespace parlowen::AudioRouteNames {

inline QString loopbackDevice() { return QString::fromUtf8(parlowen::loopbackDevice::name); }
inline QString multiOutput() { return QStringLiteral("tqv Multi-Output"); }
inline QString multiOutputUID() { return QStringLiteral("tqv-Multi-Output_UID"); }

} // namespace parlowen::AudioRouteNames
