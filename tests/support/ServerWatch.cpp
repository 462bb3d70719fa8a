#include "PrivateAudioServer.h"
#include <pulse/pulseaudio.h>

namespace parlowen::testing {

QString control(const QStringList& arguments, bool mayFail) {
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), arguments);
    const bool done = pactl.waitForFinished() && pactl.exitCode() == 0;
    EXPECT_TRUE(done || mayFail) << arguments.join(u' ').toStdString() << ": "
                                 << pactl.readAllStandardError().toStdString();
    return QString::fromUtf8(pactl.readAllStandardOutput()).trimmed();
}

/// A subscription, on a thread of the library's own.
struct ServerWatch::Connection {
    Connection() {
        pa_context_set_state_callback(context, onState, this);
        pa_context_set_subscribe_callback(
            context,
            [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
                static_cast<Connection*>(self)->changed = true;
            },
            this);
        pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        pa_threaded_mainloop_start(loop);
    }
    ~Connection() {
        pa_threaded_mainloop_stop(loop);
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
        pa_threaded_mainloop_free(loop);
    }
    static void onState(pa_context* context, void* data) {
        auto* self = static_cast<Connection*>(data);
        self->lost = !PA_CONTEXT_IS_GOOD(pa_context_get_state(context));
        if (pa_context_get_state(context) != PA_CONTEXT_READY)
            return;
        const auto all = static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_ALL & ~PA_SUBSCRIPTION_MASK_CLIENT);
        pa_operation_unref(pa_context_subscribe(
            context, all, [](pa_context*, int, void* watch) { static_cast<Connection*>(watch)->changed = true; },
            self));
    }

    pa_threaded_mainloop* const loop = pa_threaded_mainloop_new();
    pa_context* const context = pa_context_new(pa_threaded_mainloop_get_api(loop), "Test");
    std::atomic<bool> changed = false; // also once it listens
    std::atomic<bool> lost = false;
};

ServerWatch::ServerWatch()
    : connection_(std::make_unique<Connection>()) {}

ServerWatch::~ServerWatch() = default;

bool ServerWatch::until(const std::function<bool()>& condition, int milliseconds) {
    const QDeadlineTimer deadline(milliseconds);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        if (connection_->lost)
            connection_ = std::make_unique<Connection>();
        waitFor([this] { return connection_->changed.exchange(false) || connection_->lost; },
                static_cast<int>(deadline.remainingTime()));
    }
    return true;
}

void ServerWatch::untilQuiet() {
    const QDeadlineTimer deadline(10'000);
    while (!deadline.hasExpired() && waitFor([this] { return connection_->changed.exchange(false); }, 500)) {
    }
}

} // namespace parlowen::testing
