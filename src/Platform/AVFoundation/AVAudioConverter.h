#pragma once

#include "AVAudioPCMBuffer.h"

#include <Foundation/Result.h>

#include <QString>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

/// Turns sound of any rate and channel count into mono 16-bit sound of another rate: averages the channels, resamples,
/// brings quiet speech to a good level (LevelControl), rounds. Successive buffers are one stream, so their seams cannot
/// be heard. It delays sound by at most 3 ms from 8 kHz on. One thread at a time.
class AVAudioConverter {
public:
    /// Called once a conversion; hands over the buffer to convert.
    using InputBlock = std::function<std::shared_ptr<AVAudioPCMBuffer>()>;

    /// Null when it cannot convert so: the target is not mono Int16, or a rate is outside of 1 kHz to 1 MHz.
    static std::unique_ptr<AVAudioConverter> make(const AVAudioFormat& from, const AVAudioFormat& to);

    ~AVAudioConverter();
    AVAudioConverter(const AVAudioConverter&) = delete;
    AVAudioConverter& operator=(const AVAudioConverter&) = delete;

    /// Fills `output` to its frame length from the one input buffer: the caller's two frame counts are the ratio of
    /// this piece of the stream. Does nothing for an output of 0 frames. Fails, with an English text, without input and
    /// with a buffer of another format.
    Result<void> convert(AVAudioPCMBuffer& output, const InputBlock& input);

    /// The resampler library's quality level (0 to 10) that this conversion uses; none at the same rate.
    std::optional<int> resamplerQuality() const;

private:
    struct Stream;
    explicit AVAudioConverter(std::unique_ptr<Stream> stream);
    std::unique_ptr<Stream> stream_;
};

} // namespace parlowen
