#pragma once

#include <optional>

namespace parlowen {

/// How one sample is stored: 32-bit float of full scale 1.0, or 16-bit signed integer, both in the machine's byte
/// order.
enum class AVAudioCommonFormat { Float32, Int16 };

/// The shape of linear PCM sound. A value.
class AVAudioFormat {
public:
    /// None for a sample rate (Hz) that is not positive and finite, or for fewer than one channel.
    static std::optional<AVAudioFormat> make(AVAudioCommonFormat commonFormat, double sampleRate, int channels,
                                             bool interleaved);

    AVAudioCommonFormat commonFormat() const { return commonFormat_; }
    /// Frames per second.
    double sampleRate() const { return sampleRate_; }
    int channelCount() const { return channelCount_; }
    bool isInterleaved() const { return interleaved_; }
    /// Bytes of one sample: 4 or 2.
    int bytesPerSample() const;
    /// Bytes from one frame to the next in one plane: one sample, times the channels when these are interleaved.
    int bytesPerFrame() const;

    bool operator==(const AVAudioFormat&) const = default;

private:
    AVAudioFormat(AVAudioCommonFormat commonFormat, double sampleRate, int channels, bool interleaved);

    AVAudioCommonFormat commonFormat_;
    double sampleRate_;
    int channelCount_;
    bool interleaved_;
};

} // namespace parlowen
