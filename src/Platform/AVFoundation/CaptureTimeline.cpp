#include "CaptureTimeline.h"

#include <utility>

namespace parlowen {

namespace {
constexpr double microseconds = 1'000'000;
}

CaptureTimeline::CaptureTimeline(const AVAudioFormat& format, std::uint32_t framesPerBuffer, CaptureSource::Sink sink)
    : rate_(format.sampleRate())
    , chunks_(format, framesPerBuffer, std::move(sink)) {}

std::optional<double> CaptureTimeline::arrive(std::size_t frames, Time now) {
    const Time duration{static_cast<Time::rep>(static_cast<double>(frames) / rate_ * microseconds)};
    if (interrupted_)
        fillUpTo(now - duration);
    const bool resumed = std::exchange(interrupted_, false);
    started_ = true;
    covered_ = now;
    return resumed ? std::optional(std::exchange(filled_, 0)) : std::nullopt;
}

void CaptureTimeline::fill(Time now) {
    if (started_ && now - covered_ > stall)
        interrupted_ = true;
    if (interrupted_)
        fillUpTo(now - lag);
}

std::size_t CaptureTimeline::framesIn(Time time) const {
    return time.count() > 0 ? static_cast<std::size_t>(static_cast<double>(time.count()) / microseconds * rate_) : 0;
}

void CaptureTimeline::fillUpTo(Time time) {
    const std::size_t frames = framesIn(time - covered_);
    const double seconds = static_cast<double>(frames) / rate_;
    chunks_.append(nullptr, frames);
    covered_ += Time{static_cast<Time::rep>(seconds * microseconds)};
    filled_ += seconds;
}

} // namespace parlowen
