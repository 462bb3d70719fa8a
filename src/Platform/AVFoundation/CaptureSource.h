#pragma once

#include "AVAudioPCMBuffer.h"
#include "InputStatus.h"

#include <Foundation/Result.h>

#include <QString>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

/// Where an engine's sound comes from. start() and stop() may be called on different threads, one at a time.
class CaptureSource {
public:
    virtual ~CaptureSource() = default;

    /// Called on an audio thread with each captured buffer. It must neither throw nor stop its own source.
    using Sink = std::function<void(std::shared_ptr<AVAudioPCMBuffer>)>;

    /// The format of the buffers to come; none when there is no usable input (no server, no source, a file that is no
    /// sound). May take a moment, a few seconds at most.
    virtual std::optional<AVAudioFormat> format() = 0;

    /// Begins to deliver buffers of `framesPerBuffer` frames. Fails with a text for people when it cannot.
    virtual Result<void> start(std::uint32_t framesPerBuffer, Sink sink) = 0;

    /// Returns once no more sink calls come. Harmless when it does not run.
    virtual void stop() = 0;
};

using CaptureSourceFactory = std::function<std::unique_ptr<CaptureSource>()>;

/// Captures what this program's sessions are to hear from the user's audio server; PULSE_SERVER names another one. The
/// observer is told what befalls the input.
CaptureSourceFactory inputCapture(InputObserver observer = {});

} // namespace parlowen
