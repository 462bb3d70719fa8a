#pragma once

#include "CaptureSource.h"
#include "PulseInputStream.h"

#include <memory>

namespace parlowen {

class PulseClient;
class PulseRecording;

/// Captures what the program's sessions are to hear, as 32-bit float, interleaved, in the shape that it has at the
/// start: see PulseRecording. Needs no server to start. No operation waits for one.
class PulseCapture : public CaptureSource {
public:
    PulseCapture(std::shared_ptr<PulseClient> client, InputObserver observer);
    ~PulseCapture() override;
    PulseCapture(const PulseCapture&) = delete;
    PulseCapture& operator=(const PulseCapture&) = delete;

    std::optional<AVAudioFormat> format() override;
    std::optional<QString> start(std::uint32_t framesPerBuffer, Sink sink) override;
    void stop() override;

private:
    const InputShape& shape();

    const std::shared_ptr<PulseClient> client_;
    const InputObserver observer_;
    std::optional<InputShape> shape_; ///< as last looked up
    std::unique_ptr<PulseRecording> recording_;
};

} // namespace parlowen
