#pragma once

#include <chrono>
#include <functional>
#include <pulse/pulseaudio.h>

namespace parlowen {

/// Calls once, after a while, on a main loop's thread. All of it under the main loop's lock or on its thread.
class PulseTimer {
public:
    /// The main loop must outlive this object. `due` may start it again.
    PulseTimer(pa_mainloop_api* api, std::function<void()> due);
    ~PulseTimer() { stop(); }
    PulseTimer(const PulseTimer&) = delete;
    PulseTimer& operator=(const PulseTimer&) = delete;

    bool isRunning() const { return event_ != nullptr; }
    /// One that runs begins anew.
    void start(std::chrono::milliseconds pause);
    void stop();

private:
    pa_mainloop_api* const api_;
    const std::function<void()> due_;
    pa_time_event* event_ = nullptr;
};

} // namespace parlowen
