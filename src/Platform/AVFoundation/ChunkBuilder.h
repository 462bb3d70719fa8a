#pragma once

#include "CaptureSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace parlowen {

/// Cuts a stream of interleaved float frames, which come in pieces of any size, into buffers of one size. One thread.
class ChunkBuilder {
public:
    ChunkBuilder(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink);

    /// Adds frames, silent ones when `samples` is null, and hands each full buffer to the sink. Frames for which there
    /// is no memory are dropped.
    void append(const float* samples, std::size_t frames);
    /// How many frames the next buffer still needs: from 1 to the size of a buffer.
    std::size_t framesMissing() const { return framesPerBuffer_ - (buffer_ ? buffer_->frameLength() : 0); }

private:
    std::size_t fill(const float* samples, std::size_t frames);

    const AVAudioFormat format_;
    const std::uint32_t framesPerBuffer_;
    const CaptureSource::Sink sink_;
    std::shared_ptr<AVAudioPCMBuffer> buffer_; ///< silent beyond its frame length
};

} // namespace parlowen
