#include "AVAudioConverter.h"

#include "LevelControl.h"
#include "Samples.h"

#include <speex/speex_resampler.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace parlowen {

namespace {

constexpr double lowestRate = 1000;
constexpr double highestRate = 1'000'000;

struct DestroyResampler {
    void operator()(SpeexResamplerState* state) const { speex_resampler_destroy(state); }
};
using Resampler = std::unique_ptr<SpeexResamplerState, DestroyResampler>;

/// The library's best quality that, with the stretcher, stays within 3 ms. From level 4 on the filter (80 dB) does
/// better than 16 bits of speech need.
int qualityFor(double inRate, double outRate) {
    constexpr std::array halfFilter = {4, 8, 16, 24, 32}; // samples of the slower side, by quality
    constexpr double longestDelay = 0.00275;
    const double stretcherDelay = static_cast<double>(Stretcher::delay) / inRate;
    int quality = static_cast<int>(halfFilter.size()) - 1;
    while (quality > 0 &&
           halfFilter.at(static_cast<std::size_t>(quality)) / std::min(inRate, outRate) + stretcherDelay > longestDelay)
        --quality;
    return quality;
}

bool isConvertibleRate(double rate) { return rate >= lowestRate && rate <= highestRate; }

} // namespace

/// One stream's state. The caller's frame counts are seldom the exact ratio of the rates (2048 frames at 48 kHz are
/// 682.67 at 16 kHz), and each buffer may bring another ratio. The library would follow them, but at four to five times
/// the cost, and it changes its filter on the way. So it always runs at the exact ratio, and the stretcher gives it
/// just as many samples as it needs for the asked count: 2046 made of 2048.
struct AVAudioConverter::Stream {
    Stream(const AVAudioFormat& from, const AVAudioFormat& to)
        : format(from)
        , level(to.sampleRate()) {
        const auto inRate = static_cast<spx_uint32_t>(std::lround(from.sampleRate()));
        const auto outRate = static_cast<spx_uint32_t>(std::lround(to.sampleRate()));
        sameRate = inRate == outRate;
        const spx_uint32_t divisor = std::gcd(inRate, outRate);
        in = inRate / divisor;
        out = outRate / divisor;
        if (!sameRate)
            resampler.reset(speex_resampler_init(1, inRate, outRate, qualityFor(inRate, outRate), nullptr));
    }

    void passOn(std::size_t frames, const float* mono, std::int16_t* output, std::size_t asked);
    bool resample(std::int16_t* output, std::size_t asked);
    std::size_t neededFor(std::size_t asked) const;

    AVAudioFormat format;
    bool sameRate = false;
    bool stretched = false; ///< at the same rate: whether a buffer was asked for in another length
    std::int64_t in = 1;    ///< `in` frames become `out`
    std::int64_t out = 1;
    Resampler resampler;
    Stretcher stretcher;
    std::vector<float> ahead;  ///< stretched samples; the first `waiting` of them were not used up by the last buffer
    std::size_t waiting = 0;   ///< samples
    std::int64_t position = 0; ///< of the next frame, from the first waiting sample on, in 1 / `out` samples
    std::vector<float> resampled;
    LevelControl level;
};

/// The count of samples, the waiting ones included, from which the resampler makes just that many frames.
std::size_t AVAudioConverter::Stream::neededFor(std::size_t asked) const {
    const auto frames = static_cast<std::int64_t>(asked);
    const std::int64_t upToNextFrame = (position + frames * in) / out;
    const std::int64_t pastLastFrame = (position + (frames - 1) * in) / out + 1;
    return std::max({static_cast<std::size_t>(upToNextFrame), static_cast<std::size_t>(pastLastFrame), waiting});
}

bool AVAudioConverter::Stream::resample(std::int16_t* output, std::size_t asked) {
    const std::size_t needed = neededFor(asked);
    ahead.resize(needed);
    resampled.resize(asked);
    stretcher.fit(ahead.data() + waiting, needed - waiting);
    auto used = static_cast<spx_uint32_t>(needed);
    auto made = static_cast<spx_uint32_t>(asked);
    speex_resampler_process_float(resampler.get(), 0, ahead.data(), &used, resampled.data(), &made);
    std::copy(ahead.begin() + used, ahead.end(), ahead.begin());
    waiting = needed - used;
    position += static_cast<std::int64_t>(made) * in - static_cast<std::int64_t>(used) * out;
    level.apply(resampled.data(), made);
    quantize(resampled.data(), made, output);
    return made == asked;
}

void AVAudioConverter::Stream::passOn(std::size_t frames, const float* mono, std::int16_t* output, std::size_t asked) {
    resampled.resize(asked);
    if (frames == asked && !stretched) {
        std::copy_n(mono, asked, resampled.begin());
        stretcher.skip();
    } else {
        stretched = true;
        stretcher.fit(resampled.data(), asked);
    }
    level.apply(resampled.data(), asked);
    quantize(resampled.data(), asked, output);
}

AVAudioConverter::AVAudioConverter(std::unique_ptr<Stream> stream)
    : stream_(std::move(stream)) {}

AVAudioConverter::~AVAudioConverter() = default;

std::optional<int> AVAudioConverter::resamplerQuality() const {
    if (!stream_->resampler)
        return std::nullopt;
    int quality = 0;
    speex_resampler_get_quality(stream_->resampler.get(), &quality);
    return quality;
}

std::unique_ptr<AVAudioConverter> AVAudioConverter::make(const AVAudioFormat& from, const AVAudioFormat& to) {
    if (to.commonFormat() != AVAudioCommonFormat::Int16 || to.channelCount() != 1)
        return nullptr;
    if (!isConvertibleRate(from.sampleRate()) || !isConvertibleRate(to.sampleRate()))
        return nullptr;
    auto stream = std::make_unique<Stream>(from, to);
    if (!stream->sameRate && !stream->resampler)
        return nullptr;
    return std::unique_ptr<AVAudioConverter>(new AVAudioConverter(std::move(stream)));
}

Result<void> AVAudioConverter::convert(AVAudioPCMBuffer& output, const InputBlock& input) {
    std::int16_t* samples = output.int16ChannelData(0);
    if (!samples || output.format().channelCount() != 1)
        return failure(QStringLiteral("The output buffer is not mono 16-bit."));
    const std::size_t asked = output.frameLength();
    if (asked == 0)
        return {};
    const std::shared_ptr<AVAudioPCMBuffer> buffer = input();
    if (!buffer || buffer->frameLength() == 0)
        return failure(QStringLiteral("There is no sound to convert."));
    if (buffer->format() != stream_->format)
        return failure(QStringLiteral("The sound came in another format than the converter was made for."));
    const std::size_t frames = buffer->frameLength();
    float* mono = stream_->stretcher.append(frames);
    downmix(*buffer, mono);
    if (stream_->sameRate)
        stream_->passOn(frames, mono, samples, asked);
    else if (!stream_->resample(samples, asked))
        return failure(QStringLiteral("The resampler fell short."));
    return {};
}

} // namespace parlowen
