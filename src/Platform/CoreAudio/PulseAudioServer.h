#pragma once

#include "ProgramAudioServer.h"

#include <memory>

namespace parlowen {

class PulseClient;

/// The program's view of the session's audio server, PulseAudio or PipeWire. Its devices are the sinks, each with its
/// monitor as its input side, then the sources that are no monitors; a device's name is its description.
///
/// Reads are answered from the client's copy of the server's state. Until that is known there are no devices. Ids stay
/// with the UID, also when the server restarts.
class PulseAudioServer : public ProgramAudioServer {
public:
    explicit PulseAudioServer(std::shared_ptr<PulseClient> client);
    ~PulseAudioServer() override;

private:
    const std::shared_ptr<PulseClient> client_;
    std::shared_ptr<void> watch_;
};

} // namespace parlowen
