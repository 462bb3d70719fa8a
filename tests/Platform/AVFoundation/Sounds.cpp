#include "Sounds.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include <sndfile.h>

namespace parlowen::testing {

namespace {

constexpr std::size_t block = 1024;
constexpr double speechRate = 16000;
constexpr std::size_t resamplerStart = 400;

/// Blackman-Harris: what leaks away from a tone stays 92 dB below it.
double window(std::size_t i) {
    const double turn = 2 * std::numbers::pi * static_cast<double>(i) / block;
    return 0.35875 - 0.48829 * std::cos(turn) + 0.14128 * std::cos(2 * turn) - 0.01168 * std::cos(3 * turn);
}

std::vector<double> powerSpectrum(const double* samples) {
    static const std::vector<std::complex<double>> turns = [] {
        std::vector<std::complex<double>> all(block);
        for (std::size_t i = 0; i < block; ++i)
            all[i] = std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) / block);
        return all;
    }();
    std::vector<double> windowed(block);
    for (std::size_t i = 0; i < block; ++i)
        windowed[i] = samples[i] * window(i);
    std::vector<double> powers(block / 2);
    for (std::size_t bin = 0; bin < powers.size(); ++bin) {
        std::complex<double> sum = 0;
        for (std::size_t i = 0; i < block; ++i)
            sum += windowed[i] * turns[bin * i % block];
        powers[bin] = std::norm(sum);
    }
    return powers;
}

} // namespace

AVAudioFormat floatFormat(double rate, int channels, bool interleaved) {
    return AVAudioFormat::make(AVAudioCommonFormat::Float32, rate, channels, interleaved).value();
}

AVAudioFormat speechFormat() { return AVAudioFormat::make(AVAudioCommonFormat::Int16, speechRate, 1, false).value(); }

Wave toneOf(double hertz, double rate) {
    return [hertz, rate](std::size_t frame, int /*channel*/) {
        return 0.5 * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(frame) / rate);
    };
}

Buffer bufferOf(const AVAudioFormat& format, std::uint32_t frames, const Wave& wave, std::size_t firstFrame) {
    Buffer buffer = AVAudioPCMBuffer::make(format, frames);
    buffer->setFrameLength(frames);
    const auto stride = static_cast<std::size_t>(buffer->stride());
    for (int channel = 0; channel < format.channelCount(); ++channel)
        for (std::size_t i = 0; i < frames; ++i) {
            const double sample = wave(firstFrame + i, channel);
            if (float* floats = buffer->floatChannelData(channel))
                floats[i * stride] = static_cast<float>(sample);
            else
                buffer->int16ChannelData(channel)[i * stride] = static_cast<std::int16_t>(std::lround(sample * 32768));
        }
    return buffer;
}

std::uint32_t askedFor(std::uint32_t frames, double rate) {
    return static_cast<std::uint32_t>(frames / rate * speechRate);
}

std::vector<double> asSpeech(const std::vector<Buffer>& buffers) {
    const auto converter = AVAudioConverter::make(buffers.front()->format(), speechFormat());
    std::vector<double> all;
    for (const Buffer& input : buffers) {
        const std::uint32_t asked = askedFor(input->frameLength(), input->format().sampleRate());
        const Buffer output = AVAudioPCMBuffer::make(speechFormat(), asked);
        output->setFrameLength(asked);
        if (!converter || !converter->convert(*output, [&input] { return input; }))
            return {};
        all.insert(all.end(), output->int16ChannelData(0), output->int16ChannelData(0) + asked);
    }
    return all;
}

std::vector<double> converted(const AVAudioFormat& from, const std::vector<std::uint32_t>& sizes, const Wave& wave) {
    std::vector<Buffer> buffers;
    std::size_t frame = 0;
    for (const std::uint32_t size : sizes) {
        buffers.push_back(bufferOf(from, size, wave, frame));
        frame += size;
    }
    return asSpeech(buffers);
}

double worstImpurity(const std::vector<double>& samples, double hertz, double width) {
    double worst = samples.size() < resamplerStart + block ? 0 : -200;
    for (std::size_t start = resamplerStart; start + block <= samples.size(); start += block / 2) {
        const std::vector<double> powers = powerSpectrum(samples.data() + start);
        double inside = 0;
        double outside = 0;
        for (std::size_t bin = 0; bin < powers.size(); ++bin) {
            const double frequency = static_cast<double>(bin) * speechRate / block;
            (std::abs(frequency - hertz) <= width ? inside : outside) += powers[bin];
        }
        worst = std::max(worst, 10 * std::log10(outside / inside));
    }
    return worst;
}

bool writeSoundFile(const QString& path, int format, int rate, int channels, std::size_t frames, const Wave& wave) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    std::vector<double> frame(static_cast<std::size_t>(channels));
    std::size_t written = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        for (int channel = 0; channel < channels; ++channel)
            frame[static_cast<std::size_t>(channel)] = wave(i, channel);
        written += static_cast<std::size_t>(sf_writef_double(file, frame.data(), 1));
    }
    return sf_close(file) == 0 && written == frames;
}

void Collector::take(Buffer buffer) {
    const std::lock_guard lock(mutex_);
    buffers_.push_back(std::move(buffer));
    more_.notify_all();
}

bool Collector::waitForCount(std::size_t count, int milliseconds) {
    std::unique_lock lock(mutex_);
    return more_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                          [this, count] { return buffers_.size() >= count; });
}

std::vector<Buffer> Collector::buffers() {
    const std::lock_guard lock(mutex_);
    return buffers_;
}

} // namespace parlowen::testing
