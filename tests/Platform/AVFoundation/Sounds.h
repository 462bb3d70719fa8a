#pragma once

#include <AVFoundation/AVAudioConverter.h>

#include <QString>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

/// Sounds to feed in, and what to ask of those that come out.
namespace parlowen::testing {

using Buffer = std::shared_ptr<AVAudioPCMBuffer>;
/// A sample of full scale 1.0 by frame and channel.
using Wave = std::function<double(std::size_t frame, int channel)>;

AVAudioFormat floatFormat(double rate, int channels, bool interleaved = true);
/// 16 kHz, mono, 16-bit: what a speech service takes.
AVAudioFormat speechFormat();

/// The same on every channel, half of full scale.
Wave toneOf(double hertz, double rate);

/// A full buffer that begins at that frame of the wave; of either sample type.
Buffer bufferOf(const AVAudioFormat& format, std::uint32_t frames, const Wave& wave, std::size_t firstFrame = 0);

/// How many frames at 16 kHz the speech pipeline asks for.
std::uint32_t askedFor(std::uint32_t frames, double rate);

/// Converts them to speechFormat() as the speech pipeline does. A failed conversion leaves an empty result.
std::vector<double> asSpeech(const std::vector<Buffer>& buffers);

/// The same for the wave in buffers of the given sizes.
std::vector<double> converted(const AVAudioFormat& from, const std::vector<std::uint32_t>& sizes, const Wave& wave);

/// All that is not the tone of `cycles` a sample, in dB relative to the tone, in the worst block of 1024 samples; the
/// first 400, a resampler's start, are left out. 0 when there is no block.
double worstImpurity(const std::vector<double>& samples, double cycles);

/// Writes the wave to a sound file of the format, a libsndfile word such as SF_FORMAT_WAV | SF_FORMAT_PCM_16.
bool writeSoundFile(const QString& path, int format, int rate, int channels, std::size_t frames, const Wave& wave);

/// Takes captured buffers on any thread.
class Collector {
public:
    void take(Buffer buffer);
    bool waitForCount(std::size_t count, int milliseconds = 20'000);
    std::vector<Buffer> buffers();

private:
    std::mutex mutex_;
    std::condition_variable more_;
    std::vector<Buffer> buffers_;
};

} // namespace parlowen::testing
