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

namespace {

/// How many samples of the past an interpolated sample may reach back to.
constexpr std::size_t history = 5;

/// The fifth-order polynomial through x[0] to x[5], at `z` samples from the middle between x[2] and x[3].
inline float interpolate(const float* x, float z) {
    const float evenInner = x[3] + x[2];
    const float evenMiddle = x[4] + x[1];
    const float evenOuter = x[5] + x[0];
    const float oddInner = x[3] - x[2];
    const float oddMiddle = x[4] - x[1];
    const float oddOuter = x[5] - x[0];
    const float c0 = evenInner * (75 / 128.F) - evenMiddle * (25 / 256.F) + evenOuter * (3 / 256.F);
    const float c1 = oddInner * (75 / 64.F) - oddMiddle * (25 / 384.F) + oddOuter * (3 / 640.F);
    const float c2 = evenMiddle * (13 / 32.F) - evenInner * (17 / 48.F) - evenOuter * (5 / 96.F);
    const float c3 = oddMiddle * (13 / 48.F) - oddInner * (17 / 24.F) - oddOuter * (1 / 48.F);
    const float c4 = evenInner * (1 / 24.F) - evenMiddle * (1 / 16.F) + evenOuter * (1 / 48.F);
    const float c5 = oddInner * (1 / 12.F) - oddMiddle * (1 / 24.F) + oddOuter * (1 / 120.F);
    return c0 + z * (c1 + z * (c2 + z * (c3 + z * (c4 + z * c5))));
}

/// Where the run ends through which the input index stays `k + offset`; input index of k: floor(k * in / out).
std::int64_t endOfRun(std::int64_t offset, std::int64_t in, std::int64_t out) {
    if (in > out) {
        const std::int64_t surplus = in - out;
        return std::min(out, ((offset + 1) * out + surplus - 1) / surplus);
    }
    return std::min(out, -offset * out / (out - in) + 1);
}

void interpolateAll(const float* x, std::int64_t in, float* y, std::int64_t out) {
    const float step = static_cast<float>(static_cast<double>(in - out) / static_cast<double>(out));
    for (std::int64_t k = 0; k < out;) {
        const std::int64_t index = k * in / out;
        const std::int64_t end = endOfRun(index - k, in, out);
        const float first = static_cast<float>(static_cast<double>(k * in - index * out) / static_cast<double>(out));
        const auto length = static_cast<std::int32_t>(end - k);
        const float* from = x + index;
        float* to = y + k;
        for (std::int32_t i = 0; i < length; ++i)
            to[i] = interpolate(from + i, first + step * static_cast<float>(i) - 0.5F);
        k = end;
    }
}

} // namespace

Stretcher::Stretcher()
    : samples_(history) {}

float* Stretcher::append(std::size_t samples) {
    const std::size_t before = samples_.size();
    samples_.resize(before + samples);
    return samples_.data() + before;
}

void Stretcher::fit(float* out, std::size_t samples) {
    if (samples == 0)
        return;
    const std::size_t length = samples_.size() - history;
    if (length == samples)
        std::copy_n(samples_.begin() + (history - delay), samples, out);
    else
        interpolateAll(samples_.data(), static_cast<std::int64_t>(length), out, static_cast<std::int64_t>(samples));
    skip();
}

void Stretcher::skip() {
    std::copy(samples_.end() - history, samples_.end(), samples_.begin());
    samples_.resize(history);
}

} // namespace parlowen
