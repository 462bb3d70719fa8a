#pragma once

#include <memory>
#include <pulse/pulseaudio.h>

namespace parlowen {

/// The handles of libpulse. All are let go of under the lock of their loop.
struct PulseDeleter {
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

    void operator()(pa_stream* stream) const {
        pa_stream_set_read_callback(stream, nullptr, nullptr);
        pa_stream_set_write_callback(stream, nullptr, nullptr);
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
    }
};

using PulseContext = std::unique_ptr<pa_context, PulseDeleter>;
using PulseOperation = std::unique_ptr<pa_operation, PulseDeleter>;
using PulseStreamHandle = std::unique_ptr<pa_stream, PulseDeleter>;

} // namespace parlowen
