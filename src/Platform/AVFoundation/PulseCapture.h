#pragma once

#include "CaptureSource.h"

#include <memory>

namespace parlowen {

class PulseRecording;

/// Captures from the audio server's default source, as 32-bit float, interleaved, at the source's own rate and channel
/// count within 8 to 192 kHz and 8 channels; beyond these the server converts. Goes on in that format with whatever is
/// the default source when it changes or goes, or when the server ends and comes back: see PulseRecording.
class PulseCapture : public CaptureSource {
public:
    explicit PulseCapture(InputObserver observer = nullptr);
    ~PulseCapture() override;
    PulseCapture(const PulseCapture&) = delete;
    PulseCapture& operator=(const PulseCapture&) = delete;

    std::optional<AVAudioFormat> format() override;
    std::optional<QString> start(std::uint32_t framesPerBuffer, Sink sink) override;
    void stop() override;

private:
    struct Input;
    std::optional<QString> lookUp();
    std::optional<QString> record(std::uint32_t framesPerBuffer, const Sink& sink);
    bool findNextDefault();

    const InputObserver observer_;
    std::unique_ptr<Input> input_;              ///< the server's default source as last looked up
    std::unique_ptr<PulseRecording> recording_; ///< ends before its connection in input_
};

} // namespace parlowen
