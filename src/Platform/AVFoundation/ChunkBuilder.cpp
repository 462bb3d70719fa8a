#include "ChunkBuilder.h"

#include <algorithm>
#include <utility>

namespace parlowen {

ChunkBuilder::ChunkBuilder(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink)
    : format_(format)
    , framesPerBuffer_(framesPerBuffer)
    , sink_(std::move(sink)) {}

void ChunkBuilder::append(const float* samples, std::size_t frames) {
    const auto channels = static_cast<std::size_t>(format_.channelCount());
    while (frames > 0) {
        if (!buffer_)
            buffer_ = AVAudioPCMBuffer::make(format_, framesPerBuffer_);
        if (!buffer_)
            return;
        const std::size_t taken = fill(samples, frames);
        frames -= taken;
        if (samples)
            samples += taken * channels;
        if (buffer_->frameLength() == framesPerBuffer_)
            sink_(std::exchange(buffer_, nullptr));
    }
}

std::size_t ChunkBuilder::fill(const float* samples, std::size_t frames) {
    const auto channels = static_cast<std::size_t>(format_.channelCount());
    const std::size_t present = buffer_->frameLength();
    const std::size_t taken = std::min(frames, framesPerBuffer_ - present);
    if (samples)
        std::copy_n(samples, taken * channels, buffer_->floatChannelData(0) + present * channels);
    buffer_->setFrameLength(static_cast<std::uint32_t>(present + taken));
    return taken;
}

} // namespace parlowen
