#pragma once

#include "AudioDeviceRecord.h"

#include <PulseAudio/PulseSnapshot.h>

namespace parlowen {

/// The devices of an audio server: the sinks, each with its monitor as its input side, then the sources that are no
/// monitors. A device's name is its description.
AudioDeviceList devicesOf(const PulseSnapshot& snapshot);

} // namespace parlowen
