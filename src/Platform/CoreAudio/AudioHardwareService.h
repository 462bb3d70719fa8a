#pragma once

#include "AudioServer.h"

#include <memory>

/// The audio server of the process.
namespace parlowen::AudioHardwareService {

/// Makes this the server of the process; null takes it away. Any thread, but before anything asks for it.
void install(std::shared_ptr<AudioServer> server);

/// The installed server; null as long as there is none.
std::shared_ptr<AudioServer> shared();

} // namespace parlowen::AudioHardwareService
