// What the conversion of captured sound costs, against bare calls of the resampler library in the same run, and what it
// does to the sound: its delay and the purity of a tone. The case: buffers of 2048 frames, 48 kHz stereo to 16 kHz
// mono, 682 frames each.
#include "Measure.h"

#include <AVFoundation/AVAudioConverter.h>

#include <speex/speex_resampler.h>

#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <numbers>

namespace {

using namespace parlowen;

constexpr std::uint32_t inFrames = 2048;
constexpr std::uint32_t outFrames = 682;
constexpr double inRate = 48000;
constexpr double outRate = 16000;

const AVAudioFormat captured = *AVAudioFormat::make(AVAudioCommonFormat::Float32, inRate, 2, true);
const AVAudioFormat speech = *AVAudioFormat::make(AVAudioCommonFormat::Int16, outRate, 1, false);

using Buffer = std::shared_ptr<AVAudioPCMBuffer>;

/// Both channels of frame n of the stream are wave(n).
template<class Wave>
Buffer bufferOf(std::size_t index, const Wave& wave) {
    Buffer buffer = AVAudioPCMBuffer::make(captured, inFrames);
    buffer->setFrameLength(inFrames);
    float* samples = buffer->floatChannelData(0);
    for (std::size_t i = 0; i < inFrames; ++i)
        samples[2 * i] = samples[2 * i + 1] = static_cast<float>(wave(index * inFrames + i));
    return buffer;
}

double tone(std::size_t frame) {
    return 0.5 * std::sin(2 * std::numbers::pi * 1000 * static_cast<double>(frame) / inRate);
}

Buffer convert(AVAudioConverter& converter, const Buffer& input) {
    Buffer output = AVAudioPCMBuffer::make(speech, outFrames);
    output->setFrameLength(outFrames);
    if (!converter.convert(*output, [&input] { return input; })) {
        std::puts("MISS a conversion failed");
        std::exit(1);
    }
    return output;
}

template<class Wave>
std::vector<double> converted(std::size_t buffers, const Wave& wave) {
    const std::unique_ptr<AVAudioConverter> converter = AVAudioConverter::make(captured, speech);
    std::vector<double> all;
    for (std::size_t i = 0; i < buffers; ++i) {
        const Buffer output = convert(*converter, bufferOf(i, wave));
        all.insert(all.end(), output->int16ChannelData(0), output->int16ChannelData(0) + outFrames);
    }
    return all;
}

/// A bare resampler of the library, the way it is meant to be used.
class BareResampler {
public:
    BareResampler(unsigned channels, unsigned ratioIn, unsigned ratioOut, int quality)
        : state_(speex_resampler_init_frac(channels, ratioIn, ratioOut, 48000, 16000, quality, nullptr)) {}
    ~BareResampler() { speex_resampler_destroy(state_); }
    BareResampler(const BareResampler&) = delete;
    BareResampler& operator=(const BareResampler&) = delete;

    void run(const float* samples) {
        unsigned in = inFrames;
        unsigned out = inFrames;
        speex_resampler_process_interleaved_float(state_, samples, &in, out_.data(), &out);
    }

private:
    SpeexResamplerState* state_;
    std::array<float, std::size_t{2} * inFrames> out_{};
};

bool judgeCost() {
    const std::unique_ptr<AVAudioConverter> converter = AVAudioConverter::make(captured, speech);
    const int quality = converter->resamplerQuality().value();
    const Buffer stereo = bufferOf(0, tone);
    std::vector<float> mono(inFrames);
    for (std::size_t i = 0; i < inFrames; ++i)
        mono[i] = stereo->floatChannelData(0)[2 * i];

    BareResampler bareMono(1, 3, 1, quality);
    BareResampler bareStereo(2, 3, 1, quality);
    BareResampler bareRatio(1, 1024, 341, quality);
    const auto subject = [&] { convert(*converter, stereo); };
    constexpr int rounds = 400;
    constexpr int calls = 10;
    const auto strict = bench::compare(
        subject, [&] { bareMono.run(mono.data()); }, rounds, calls);
    const auto sameFrames = bench::compare(
        subject, [&] { bareStereo.run(stereo->floatChannelData(0)); }, rounds, calls);
    const auto sameRatio = bench::compare(
        subject, [&] { bareRatio.run(mono.data()); }, rounds, calls);

    std::printf(
        "conversion of 2048 frames, 48 kHz stereo float to 682 frames, 16 kHz mono 16-bit, quality %d, with its output "
        "buffer: %.2f us\n",
        quality, strict.subject);
    std::printf("  bare call, 48 to 16 kHz, sound already mixed to mono, float:     %.2f us, ratio %.2f\n",
                strict.baseline, strict.ratio);
    std::printf("  bare call, 48 to 16 kHz, the same stereo frames, stays stereo:   %.2f us, ratio %.2f\n",
                sameFrames.baseline, sameFrames.ratio);
    std::printf("  bare call, at the ratio 2048:682, sound already mixed to mono:   %.2f us, ratio %.2f\n",
                sameRatio.baseline, sameRatio.ratio);
    return bench::judge("cost against the cheapest bare call (mono, 48 to 16 kHz)", strict.ratio, 1.5, "x");
}

/// A click in the middle of a buffer; where its peak comes out, between samples by a parabola.
double delayMilliseconds() {
    constexpr std::size_t buffers = 8;
    constexpr std::size_t at = 4 * inFrames + inFrames / 2;
    const auto click = [](std::size_t frame) { return frame == at ? 1.0 : 0.0; };
    const std::vector<double> out = converted(buffers, click);
    const auto peak = std::max_element(out.begin() + 1, out.end() - 1);
    const double bend = peak[-1] - 2 * peak[0] + peak[1];
    const double offset = bend == 0 ? 0 : 0.5 * (peak[-1] - peak[1]) / bend;
    const double place = static_cast<double>(peak - out.begin()) + offset;
    const double expected = static_cast<double>(at) * outFrames / inFrames;
    return (place - expected) / outRate * 1000;
}

/// Power of what is left of a 1 kHz tone without the tone, in dB below it: the tone is fitted and taken away.
double residualDecibels() {
    constexpr std::size_t buffers = 120;
    constexpr std::size_t settled = 2 * outFrames;
    const std::vector<double> out = converted(buffers, tone);
    const double frequency = 1000 * (inFrames / inRate) / (outFrames / outRate); // what the frame counts make of 1 kHz
    const std::size_t count = out.size() - settled;
    double windowSum = 0;
    std::complex<double> amplitude = 0;
    const auto window = [count](std::size_t i) {
        return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(count));
    };
    const auto turn = [frequency](std::size_t i) {
        return std::polar(1.0, 2 * std::numbers::pi * frequency / outRate * static_cast<double>(i));
    };
    for (std::size_t i = 0; i < count; ++i) {
        windowSum += window(i);
        amplitude += window(i) * out[settled + i] * std::conj(turn(i));
    }
    amplitude *= 2.0 / windowSum;
    double left = 0;
    for (std::size_t i = 0; i < count; ++i)
        left += std::pow(out[settled + i] - (amplitude * turn(i)).real(), 2);
    const double tonePower = std::norm(amplitude) / 2;
    return 10 * std::log10(left / static_cast<double>(count) / tonePower);
}

} // namespace

int main() {
    bool met = judgeCost();
    met = bench::judge("delay of the sound", delayMilliseconds(), 3, "ms") && met;
    met = bench::judge("what a 1 kHz tone gains in other sound", residualDecibels(), -60, "dB") && met;
    return met ? 0 : 1;
}
