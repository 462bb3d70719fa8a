#pragma once

#include "PrivateAudioServer.h"

namespace parlowen::testing {

/// A private PulseAudio daemon.
class PrivatePulseAudio final : public PrivateAudioServer {
public:
    /// A sink without hardware, "call": 48 kHz, stereo. Its monitor is the default source.
    static QStringList oneSink();

    /// Starts the daemon with these modules, one line each: name and arguments. Ready on return, or failed.
    explicit PrivatePulseAudio(const QStringList& modules = oneSink());

    qint64 processId() const { return processes_.front()->processId(); }

private:
    bool start() override;
};

} // namespace parlowen::testing
