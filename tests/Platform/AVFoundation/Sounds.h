#pragma once

#include <AVFoundation/AVAudioConverter.h>
#include <QFile>
#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <numbers>
#include <sndfile.hh>
#include <vector>

namespace parlowen::testing {

using Buffer = std::shared_ptr<AVAudioPCMBuffer>;
/// A sample of full scale 1.0 by frame and channel.
using Wave = std::function<double(std::size_t frame, int channel)>;

inline AVAudioFormat floatFormat(double rate, int channels, bool interleaved = true) {
    return AVAudioFormat::make(AVAudioCommonFormat::Float32, rate, channels, interleaved).value();
}

/// 16 kHz, mono, 16-bit: what a speech service takes.
inline AVAudioFormat speechFormat() {
    return AVAudioFormat::make(AVAudioCommonFormat::Int16, 16'000, 1, false).value();
}

/// The same on every channel, half of full scale.
inline Wave toneOf(double hertz, double rate) {
    return [hertz, rate](std::size_t frame, int /*channel*/) {
        return 0.5 * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(frame) / rate);
    };
}

/// A full buffer that begins at that frame of the wave; of either sample type.
inline Buffer bufferOf(const AVAudioFormat& format, std::uint32_t frames, const Wave& wave,
                       std::size_t firstFrame = 0) {
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

/// How many frames at 16 kHz the speech pipeline asks for.
inline std::uint32_t askedFor(std::uint32_t frames, double rate) {
    return static_cast<std::uint32_t>(frames / rate * 16'000);
}

/// Converts the wave, in buffers of the given sizes, to speechFormat() as the speech pipeline does. A failed conversion
/// leaves an empty result.
inline std::vector<double> converted(const AVAudioFormat& from, const std::vector<std::uint32_t>& sizes,
                                     const Wave& wave) {
    const auto converter = AVAudioConverter::make(from, speechFormat());
    std::vector<double> all;
    std::size_t frame = 0;
    for (const std::uint32_t size : sizes) {
        const std::uint32_t asked = askedFor(size, from.sampleRate());
        const Buffer input = bufferOf(from, size, wave, frame), output = AVAudioPCMBuffer::make(speechFormat(), asked);
        output->setFrameLength(asked);
        if (!converter || !converter->convert(*output, [&input] { return input; }))
            return {};
        all.insert(all.end(), output->int16ChannelData(0), output->int16ChannelData(0) + asked);
        frame += size;
    }
    return all;
}

/// Writes the wave to a sound file of the format, a libsndfile word such as SF_FORMAT_WAV | SF_FORMAT_PCM_16.
inline bool writeSoundFile(const QString& path, int format, int rate, int channels, std::size_t frames,
                           const Wave& wave) {
    std::vector<double> samples;
    for (std::size_t i = 0; i < frames; ++i)
        for (int channel = 0; channel < channels; ++channel)
            samples.push_back(wave(i, channel));
    SndfileHandle file(QFile::encodeName(path).toStdString(), SFM_WRITE, format, channels, rate);
    return file.writef(samples.data(), static_cast<sf_count_t>(frames)) == static_cast<sf_count_t>(frames);
}

class Collector {
public:
    void take(Buffer buffer) {
        const std::lock_guard lock(mutex_);
        buffers_.push_back(std::move(buffer));
        more_.notify_all();
    }
    bool waitForCount(std::size_t count) {
        std::unique_lock lock(mutex_);
        return more_.wait_for(lock, std::chrono::seconds(20), [this, count] { return buffers_.size() >= count; });
    }
    std::vector<Buffer> buffers() {
        const std::lock_guard lock(mutex_);
        return buffers_;
    }

private:
    std::mutex mutex_;
    std::condition_variable more_;
    std::vector<Buffer> buffers_;
};

} // namespace parlowen::testing
