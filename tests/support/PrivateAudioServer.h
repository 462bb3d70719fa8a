#pragma once

#include <QString>

namespace parlowen::testing {

/// An audio server of the test's own, without hardware: own run-time directory, own socket, gone with this object.
class PrivateAudioServer {
public:
    virtual ~PrivateAudioServer() = default;

    virtual bool isReady() const = 0;
    /// The server's address, as PULSE_SERVER has it.
    virtual QString address() const = 0;
    /// What the server has said, to explain a failure.
    virtual QString output() = 0;
    /// Ends the server at once, as a crash would.
    virtual void kill() = 0;
    /// Ends it at once and starts it again: same address, same modules. False when it does not come up.
    virtual bool restart() = 0;
};

} // namespace parlowen::testing
