#pragma once

#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <memory>
#include <vector>

/// How the router and the audio check pick devices, so that both mean the same ones.
namespace parlowen::DeviceSearch {

using Device = std::shared_ptr<AudioDevice>;

/// Whether the device plays.
bool hasOutput(AudioServer& server, const Device& device);

/// The microphone that a session would use: the user's own input where that is one, else the first that is plugged in,
/// one that is called a microphone before others. Never one that gives what an output plays; null when there is none.
Device microphone(AudioServer& server, const std::vector<Device>& devices);

} // namespace parlowen::DeviceSearch
