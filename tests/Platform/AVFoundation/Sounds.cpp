#include "Sounds.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <numbers>

#include <sndfile.h>

namespace parlowen::testing {

namespace {

constexpr double speechRate = 16000;

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

/// By least squares: the tone of that frequency which comes nearest is taken away, and the rest is what is impure.
double worstImpurity(const std::vector<double>& samples, double cycles) {
    constexpr std::size_t block = 1024, resamplerStart = 400;
    double worst = samples.size() < resamplerStart + block ? 0 : -200;
    for (std::size_t start = resamplerStart; start + block <= samples.size(); start += block / 2) {
        double ss = 0, cc = 0, sc = 0, xs = 0, xc = 0, xx = 0;
        for (std::size_t i = start; i < start + block; ++i) {
            const double turn = 2 * std::numbers::pi * cycles * static_cast<double>(i);
            const double sine = std::sin(turn), cosine = std::cos(turn), x = samples[i];
            ss += sine * sine, cc += cosine * cosine, sc += sine * cosine;
            xs += x * sine, xc += x * cosine, xx += x * x;
        }
        const double tone = (xs * xs * cc - 2 * xs * xc * sc + xc * xc * ss) / (ss * cc - sc * sc);
        worst = std::max(worst, 10 * std::log10(std::max(xx - tone, 1e-9) / tone));
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
