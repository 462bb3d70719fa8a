#include "InputLevelWatch.h"

#include <cmath>
#include <cstddef>

namespace parlowen {

namespace {

struct Peaks {
    float highest = 0;
    std::size_t atFullScale = 0;
    std::size_t samples = 0;
};

void lookAt(const float* samples, std::size_t count, Peaks& peaks) {
    constexpr float fullScale = 0.999F;
    float highest = peaks.highest;
    std::size_t atFullScale = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const float level = std::abs(samples[i]);
        highest = highest < level ? level : highest;
        atFullScale += level >= fullScale ? 1U : 0U;
    }
    peaks.highest = highest;
    peaks.atFullScale += atFullScale;
    peaks.samples += count;
}

Peaks peaksOf(const AVAudioPCMBuffer& buffer) {
    Peaks peaks;
    const auto channels = static_cast<std::size_t>(buffer.format().channelCount());
    const float* first = buffer.floatChannelData(0);
    if (first && buffer.format().isInterleaved()) {
        lookAt(first, buffer.frameLength() * channels, peaks);
        return peaks;
    }
    for (std::size_t channel = 0; channel < channels; ++channel)
        if (const float* samples = buffer.floatChannelData(static_cast<int>(channel)))
            lookAt(samples, buffer.frameLength(), peaks);
    return peaks;
}

} // namespace

InputLevelWatch::State InputLevelWatch::feed(const AVAudioPCMBuffer& buffer) {
    const Peaks peaks = peaksOf(buffer);
    if (peaks.highest < nearSilence) {
        silentSeconds_ += buffer.frameLength() / buffer.format().sampleRate();
        return State::Silent;
    }
    heardSound_ = true;
    silentSeconds_ = 0;
    return peaks.atFullScale * 100 >= peaks.samples ? State::Clipping : State::Sound;
}

} // namespace parlowen
