#include "Samples.h"

#include <algorithm>

namespace parlowen {

namespace {

constexpr float fullScale = 32768.F;

/// A stray NaN or infinity would otherwise spread through the whole length of a filter.
inline float sane(float sample) {
    constexpr float bound = 8.F;
    const float bounded = sample > bound ? bound : (sample < -bound ? -bound : sample);
    return bounded == bounded ? bounded : 0.F; // NOLINT(misc-redundant-expression): false for NaN alone
}

template<class Sample>
void averageStereo(const Sample* samples, std::size_t frames, float* mono, float scale) {
    for (std::size_t i = 0; i < frames; ++i) {
        const float left = static_cast<float>(samples[2 * i]);
        const float right = static_cast<float>(samples[2 * i + 1]);
        mono[i] = sane((left + right) * scale);
    }
}

template<class Sample>
void average(const AVAudioPCMBuffer& buffer, const Sample* first, std::size_t planeLength, float* mono, float scale) {
    const auto channels = static_cast<std::size_t>(buffer.format().channelCount());
    const auto stride = static_cast<std::size_t>(buffer.stride());
    const std::size_t frames = buffer.frameLength();
    if (channels == 2 && stride == 2)
        return averageStereo(first, frames, mono, scale);
    std::fill_n(mono, frames, 0.F);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        const Sample* samples = first + (stride == 1 ? channel * planeLength : channel);
        for (std::size_t i = 0; i < frames; ++i)
            mono[i] += static_cast<float>(samples[i * stride]);
    }
    for (std::size_t i = 0; i < frames; ++i)
        mono[i] = sane(mono[i] * scale);
}

} // namespace

void downmix(const AVAudioPCMBuffer& buffer, float* mono) {
    const float share = 1.F / static_cast<float>(buffer.format().channelCount());
    if (const float* floats = buffer.floatChannelData(0))
        average(buffer, floats, buffer.frameCapacity(), mono, share);
    else if (const std::int16_t* integers = buffer.int16ChannelData(0))
        average(buffer, integers, buffer.frameCapacity(), mono, share / fullScale);
}

void quantize(const float* samples, std::size_t count, std::int16_t* out) {
    for (std::size_t i = 0; i < count; ++i) {
        const float scaled = samples[i] * fullScale;
        const float upper = scaled < 32767.F ? scaled : 32767.F;
        const float bounded = upper > -32768.F ? upper : -32768.F;
        const float half = bounded < 0 ? -0.5F : 0.5F;
        out[i] = static_cast<std::int16_t>(static_cast<std::int32_t>(bounded + half));
    }
}

} // namespace parlowen
