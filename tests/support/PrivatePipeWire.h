#pragma once

#include "PrivateAudioServer.h"

namespace parlowen::testing {

/// A private PipeWire with its session manager, its PulseAudio server and a message bus. It leaves real hardware alone.
class PrivatePipeWire final : public PrivateAudioServer {
public:
    /// Starts the server and loads these modules, one line each: name and arguments. Ready on return, or failed.
    explicit PrivatePipeWire(QStringList modules = {});

private:
    bool start() override;
    bool loadModules() const;
    bool control(const QStringList& arguments, QByteArray* answer = nullptr) const;

    const QStringList modules_;
};

} // namespace parlowen::testing
