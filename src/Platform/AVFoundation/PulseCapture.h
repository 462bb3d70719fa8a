#pragma once

#include "CaptureSource.h"

#include <memory>

namespace parlowen {

/// Captures from the audio server's default source, as 32-bit float, interleaved, at the source's own rate and channel
/// count within 8 to 192 kHz and 8 channels; beyond these the server converts. Follows the default source when it
/// changes.
class PulseCapture : public CaptureSource {
public:
    PulseCapture();
    ~PulseCapture() override;
    PulseCapture(const PulseCapture&) = delete;
    PulseCapture& operator=(const PulseCapture&) = delete;

    std::optional<AVAudioFormat> format() override;
    std::optional<QString> start(std::uint32_t framesPerBuffer, Sink sink) override;
    void stop() override;

private:
    class Recording;
    struct Input;
    std::optional<QString> lookUp();

    std::unique_ptr<Input> input_;         ///< the server's default source as last looked up
    std::unique_ptr<Recording> recording_; ///< ends before its connection in input_
};

} // namespace parlowen
