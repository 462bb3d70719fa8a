#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
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

/// A block of sound in one format. Shared between threads once it is filled; whoever fills it owns it alone until then.
class AVAudioPCMBuffer {
public:
    /// A silent buffer with room for that many frames and a frame length of 0; null if it cannot be allocated.
    static std::shared_ptr<AVAudioPCMBuffer> make(const AVAudioFormat& format, std::uint32_t frameCapacity);

    const AVAudioFormat& format() const { return format_; }
    std::uint32_t frameCapacity() const { return frameCapacity_; }
    /// How many frames hold sound; never more than the capacity.
    std::uint32_t frameLength() const { return frameLength_; }
    /// A length beyond the capacity becomes the capacity.
    void setFrameLength(std::uint32_t frames);

    /// Samples from one frame to the next of a channel: the channel count when interleaved, else 1.
    int stride() const { return format_.isInterleaved() ? format_.channelCount() : 1; }
    /// The channel's first sample (the next ones are stride() apart); null when the samples are of the other type
    /// or there is no such channel.
    std::int16_t* int16ChannelData(int channel);
    const std::int16_t* int16ChannelData(int channel) const;
    float* floatChannelData(int channel);
    const float* floatChannelData(int channel) const;

private:
    struct Release {
        void operator()(std::byte* bytes) const { std::free(bytes); }
    };
    using Bytes = std::unique_ptr<std::byte, Release>;

    AVAudioPCMBuffer(const AVAudioFormat& format, std::uint32_t frameCapacity, Bytes bytes);
    std::byte* channelBytes(int channel, AVAudioCommonFormat wanted) const;

    AVAudioFormat format_;
    std::uint32_t frameCapacity_;
    std::uint32_t frameLength_ = 0;
    Bytes bytes_;
};

} // namespace parlowen
