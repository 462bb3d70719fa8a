#include "AVAudioFormat.h"

#include <cmath>

namespace parlowen {

AVAudioFormat::AVAudioFormat(AVAudioCommonFormat commonFormat, double sampleRate, int channels, bool interleaved)
    : commonFormat_(commonFormat)
    , sampleRate_(sampleRate)
    , channelCount_(channels)
    , interleaved_(interleaved) {}

std::optional<AVAudioFormat> AVAudioFormat::make(AVAudioCommonFormat commonFormat, double sampleRate, int channels,
                                                 bool interleaved) {
    if (!std::isfinite(sampleRate) || sampleRate <= 0 || channels < 1)
        return std::nullopt;
    return AVAudioFormat(commonFormat, sampleRate, channels, interleaved);
}

int AVAudioFormat::bytesPerSample() const { return commonFormat_ == AVAudioCommonFormat::Float32 ? 4 : 2; }

int AVAudioFormat::bytesPerFrame() const { return interleaved_ ? bytesPerSample() * channelCount_ : bytesPerSample(); }

} // namespace parlowen
