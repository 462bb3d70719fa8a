#pragma once

#include <memory>
#include <pulse/pulseaudio.h>

namespace parlowen {

/// The handles of libpulse. All but the main loop itself are let go of under its lock.
struct PulseDeleter {
    void operator()(pa_threaded_mainloop* loop) const {
        pa_threaded_mainloop_stop(loop);
        pa_threaded_mainloop_free(loop);
    }

    void operator()(pa_context* context) const {
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_set_subscribe_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
    }

    void operator()(pa_operation* operation) const {
        pa_operation_cancel(operation);
        pa_operation_unref(operation);
    }

    void operator()(pa_proplist* properties) const { pa_proplist_free(properties); }
};

using PulseLoop = std::unique_ptr<pa_threaded_mainloop, PulseDeleter>;
using PulseContext = std::unique_ptr<pa_context, PulseDeleter>;
using PulseOperation = std::unique_ptr<pa_operation, PulseDeleter>;
using PulseProperties = std::unique_ptr<pa_proplist, PulseDeleter>;

/// Holds the main loop's lock.
class PulseLock {
public:
    explicit PulseLock(const PulseLoop& loop)
        : loop_(loop.get()) {
        pa_threaded_mainloop_lock(loop_);
    }
    ~PulseLock() { pa_threaded_mainloop_unlock(loop_); }
    PulseLock(const PulseLock&) = delete;
    PulseLock& operator=(const PulseLock&) = delete;

private:
    pa_threaded_mainloop* loop_;
};

} // namespace parlowen
