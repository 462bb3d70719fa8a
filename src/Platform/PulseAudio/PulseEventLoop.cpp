#include "PulseEventLoop.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <pthread.h>
#include <utility>

namespace parlowen {

PulseEventLoop::PulseEventLoop()
    : loop_(pa_mainloop_new()) {
    pa_mainloop_set_poll_func(loop_.get(), poll, this);
}

PulseEventLoop::~PulseEventLoop() { stop(); }

// The program's signals are for its other threads.
void PulseEventLoop::start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    thread_ = std::thread([this] {
        pthread_setname_np(pthread_self(), "audio-server");
        const std::lock_guard lock(mutex_);
        pa_mainloop_run(loop_.get(), nullptr);
    });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void PulseEventLoop::stop() {
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        pa_mainloop_quit(loop_.get(), 0);
    }
    thread_.join();
}

/// What the loop calls in the place of poll(2), locked.
int PulseEventLoop::poll(pollfd* files, unsigned long count, int milliseconds, void* loop) {
    auto* self = static_cast<PulseEventLoop*>(loop);
    self->mutex_.unlock();
    const int ready =
        self->rest_ ? self->pollAfterRest(files, count, milliseconds) : ::poll(files, count, milliseconds);
    self->mutex_.lock();
    return ready;
}

/// Something that is at hand comes first.
int PulseEventLoop::pollAfterRest(pollfd* files, unsigned long count, int milliseconds) {
    if (const int ready = ::poll(files, count, 0); ready != 0 || milliseconds == 0)
        return ready;
    const Clock::time_point rest = *std::exchange(rest_, std::nullopt);
    const Clock::time_point timer =
        milliseconds < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(milliseconds);
    std::this_thread::sleep_until(std::min(rest, timer));
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(timer - Clock::now());
    return ::poll(files, count, milliseconds < 0 ? -1 : static_cast<int>(std::max(left.count(), std::int64_t{0})));
}

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
