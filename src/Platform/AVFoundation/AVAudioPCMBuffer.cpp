#include "AVAudioPCMBuffer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace parlowen {

AVAudioFormat::AVAudioFormat(AVAudioCommonFormat commonFormat, double sampleRate, int channels, bool interleaved)
    : commonFormat_(commonFormat)
    , sampleRate_(sampleRate)
    , channelCount_(channels)
    , interleaved_(interleaved) {}

std::optional<AVAudioFormat> AVAudioFormat::make(AVAudioCommonFormat commonFormat, double sampleRate, int channels,
                                                 bool interleaved) {
    if (!std::isfinite(sampleRate) || sampleRate <= 0 || channels < 1)
        return std::nullopt;
    return AVAudioFormat(commonFormat, sampleRate, channels, interleaved);
}

int AVAudioFormat::bytesPerSample() const { return commonFormat_ == AVAudioCommonFormat::Float32 ? 4 : 2; }

int AVAudioFormat::bytesPerFrame() const { return interleaved_ ? bytesPerSample() * channelCount_ : bytesPerSample(); }

namespace {
/// More than an hour of stereo sound: nothing that this program asks for on purpose.
constexpr std::uint64_t maxBytes = std::uint64_t{1} << 31;
} // namespace

AVAudioPCMBuffer::AVAudioPCMBuffer(const AVAudioFormat& format, std::uint32_t frameCapacity, Bytes bytes)
    : format_(format)
    , frameCapacity_(frameCapacity)
    , bytes_(std::move(bytes)) {}

std::shared_ptr<AVAudioPCMBuffer> AVAudioPCMBuffer::make(const AVAudioFormat& format, std::uint32_t frameCapacity) {
    const std::uint64_t frameBytes =
        static_cast<std::uint64_t>(format.bytesPerSample()) * static_cast<std::uint64_t>(format.channelCount());
    const std::uint64_t size = std::max<std::uint64_t>(frameBytes * frameCapacity, 1);
    if (frameBytes > maxBytes || size > maxBytes)
        return nullptr;
    Bytes bytes(static_cast<std::byte*>(std::calloc(1, size)));
    if (!bytes)
        return nullptr;
    return std::shared_ptr<AVAudioPCMBuffer>(new AVAudioPCMBuffer(format, frameCapacity, std::move(bytes)));
}

void AVAudioPCMBuffer::setFrameLength(std::uint32_t frames) { frameLength_ = std::min(frames, frameCapacity_); }

std::byte* AVAudioPCMBuffer::channelBytes(int channel, AVAudioCommonFormat wanted) const {
    if (format_.commonFormat() != wanted || channel < 0 || channel >= format_.channelCount())
        return nullptr;
    const std::size_t samples = format_.isInterleaved() ? static_cast<std::size_t>(channel)
                                                        : static_cast<std::size_t>(channel) * frameCapacity_;
    return bytes_.get() + samples * static_cast<std::size_t>(format_.bytesPerSample());
}

std::int16_t* AVAudioPCMBuffer::int16ChannelData(int channel) {
    return reinterpret_cast<std::int16_t*>(channelBytes(channel, AVAudioCommonFormat::Int16));
}

const std::int16_t* AVAudioPCMBuffer::int16ChannelData(int channel) const {
    return reinterpret_cast<const std::int16_t*>(channelBytes(channel, AVAudioCommonFormat::Int16));
}

float* AVAudioPCMBuffer::floatChannelData(int channel) {
    return reinterpret_cast<float*>(channelBytes(channel, AVAudioCommonFormat::Float32));
}

const float* AVAudioPCMBuffer::floatChannelData(int channel) const {
    return reinterpret_cast<const float*>(channelBytes(channel, AVAudioCommonFormat::Float32));
}

} // namespace parlowen
