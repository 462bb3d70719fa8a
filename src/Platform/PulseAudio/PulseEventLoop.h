#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <pulse/pulseaudio.h>
#include <thread>

struct pollfd;

namespace parlowen {

/// The audio server library's event loop on a thread of its own, with a lock for all that belongs to it, like the
/// library's own threaded loop; but it can rest. A server gives sound in pieces of a few milliseconds, and to be woken
/// for each of them costs more than all that is done with the sound.
class PulseEventLoop {
public:
    using Clock = std::chrono::steady_clock;

    PulseEventLoop();
    /// Stops the thread.
    ~PulseEventLoop();
    PulseEventLoop(const PulseEventLoop&) = delete;
    PulseEventLoop& operator=(const PulseEventLoop&) = delete;

    void start();
    /// Returns once the thread has ended, and rested. Not on that thread.
    void stop();

    /// Holds the loop's thread off; needed around every call of the library. A thread may lock more than once.
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }
    /// Waits for signal(), locked once, and lets the loop's thread work meanwhile. False when the time came first.
    bool waitUntil(Clock::time_point time) { return signalled_.wait_until(mutex_, time) == std::cv_status::no_timeout; }
    void signal() { signalled_.notify_all(); }

    /// Once nothing more is at hand, leaves what the server sends unread until then, or until a timer is due. On the
    /// loop's thread.
    void restUntil(Clock::time_point time) { rest_ = time; }

    pa_mainloop_api* api() const { return pa_mainloop_get_api(loop_.get()); }

private:
    struct Free {
        void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
    };

    static int poll(pollfd* files, unsigned long count, int milliseconds, void* loop);
    int pollAfterRest(pollfd* files, unsigned long count, int milliseconds);

    const std::unique_ptr<pa_mainloop, Free> loop_;
    std::recursive_mutex mutex_;
    std::condition_variable_any signalled_;
    std::optional<Clock::time_point> rest_; ///< of the loop's thread alone
    std::thread thread_;
};

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
