#include "CaptureTimeline.h"

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

namespace {

/// Sound that comes so much later than it should is no longer the server's own unevenness.
constexpr CaptureTimeline::Time tolerance = std::chrono::seconds(1);
constexpr CaptureTimeline::Time toleranceAtFirst = std::chrono::milliseconds(2500);

double secondsOf(CaptureTimeline::Time time) { return std::chrono::duration<double>(time).count(); }

} // namespace

CaptureTimeline::CaptureTimeline(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink)
    : rate_(format.sampleRate())
    , chunks_(format, framesPerBuffer, std::move(sink)) {}

std::optional<CaptureTimeline::Gap> CaptureTimeline::open(Time now) {
    fresh_ = true;
    return interrupted_ ? endGap(now, now, true) : std::nullopt;
}

std::optional<CaptureTimeline::Gap> CaptureTimeline::arrive(std::size_t frames, Time now) {
    const auto duration =
        std::chrono::duration_cast<Time>(std::chrono::duration<double>(static_cast<double>(frames) / rate_));
    const Time begin = now - duration;
    const bool late = started_ && begin - covered_ > (std::exchange(fresh_, false) ? toleranceAtFirst : tolerance);
    started_ = true;
    return endGap(begin, now, interrupted_ || late);
}

std::optional<CaptureTimeline::Gap> CaptureTimeline::endGap(Time begin, Time now, bool ends) {
    if (ends)
        fillUpTo(begin);
    interrupted_ = false;
    covered_ = now;
    const Gap gap{secondsOf(std::exchange(missed_, Time(0))), secondsOf(std::exchange(filled_, Time(0)))};
    return ends ? std::optional(gap) : std::nullopt;
}

void CaptureTimeline::fill(Time now) {
    if (started_ && now - covered_ > stall)
        interrupted_ = true;
    if (interrupted_)
        fillUpTo(now - lag);
}

void CaptureTimeline::rest(Time now) {
    if (!started_)
        return;
    fillUpTo(now - lag);
    missed_ = Time(0);
    interrupted_ = false;
}

void CaptureTimeline::fillUpTo(Time time) {
    const Time missing = time - covered_;
    if (missing <= Time(0))
        return;
    const Time silence = std::min(missing, mostSilence - filled_);
    chunks_.append(nullptr, static_cast<std::size_t>(secondsOf(silence) * rate_));
    missed_ += missing;
    filled_ += silence;
    covered_ = time;
}

} // namespace parlowen
