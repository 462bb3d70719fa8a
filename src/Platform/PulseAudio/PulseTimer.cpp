#include "PulseTimer.h"

#include <utility>

namespace parlowen {

PulseTimer::PulseTimer(pa_mainloop_api* api, std::function<void()> due)
    : api_(api)
    , due_(std::move(due)) {}

void PulseTimer::start(std::chrono::milliseconds pause) {
    stop();
    timeval time{};
    pa_timeval_add(pa_gettimeofday(&time), static_cast<pa_usec_t>(std::chrono::microseconds(pause).count()));
    const auto due = [](pa_mainloop_api*, pa_time_event*, const timeval*, void* timer) {
        auto* self = static_cast<PulseTimer*>(timer);
        self->stop();
        self->due_();
    };
    event_ = api_->time_new(api_, &time, due, this);
}

void PulseTimer::stop() {
    if (event_)
        api_->time_free(event_);
    event_ = nullptr;
}

} // namespace parlowen
