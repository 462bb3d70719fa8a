#include "PulseConnection.h"

#include "PulseRequest.h"

#include <algorithm>

namespace parlowen {

namespace {

constexpr std::chrono::milliseconds firstPause{100}, longestPause{2000};

constexpr auto watched = static_cast<pa_subscription_mask_t>(
    static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SINK) | static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SOURCE) |
    static_cast<unsigned>(PA_SUBSCRIPTION_MASK_MODULE) | static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SERVER));

std::string_view textOf(const char* value) { return value ? value : ""; }

} // namespace

PulseConnection::PulseConnection(std::string address, Hooks hooks)
    : address_(std::move(address))
    , hooks_(std::move(hooks))
    , loop_(pa_threaded_mainloop_new())
    , pause_(firstPause)
    , retry_(pa_threaded_mainloop_get_api(loop_.get()), [this] { connect(); })
    , secondLook_(pa_threaded_mainloop_get_api(loop_.get()), address_,
                  [this](pa_context* context) { return pa_context_get_server_info(context, onSecondLook, this); }) {
    pa_threaded_mainloop_set_name(loop_.get(), "audio-server");
    pa_threaded_mainloop_start(loop_.get());
    const PulseLock lock(loop_);
    connect();
}

PulseConnection::~PulseConnection() {
    const PulseLock lock(loop_);
    retry_.stop();
    secondLook_.stop();
    round_.reset();
    subscription_.reset();
    context_.reset();
}

void PulseConnection::connect() {
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop_.get());
    context_.reset(pa_context_new(api, "Parlowen"));
    watch();
    const char* server = address_.empty() ? nullptr : address_.c_str();
    if (pa_context_connect(context_.get(), server, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        serverLost();
}

void PulseConnection::watch() {
    pa_context_set_state_callback(
        context_.get(), [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->stateChanged(); }, this);
}

void PulseConnection::stateChanged() {
    const pa_context_state_t state = pa_context_get_state(context_.get());
    if (state == PA_CONTEXT_READY) {
        pause_ = firstPause;
        follow();
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        serverLost();
    }
}

void PulseConnection::follow() {
    subscribe();
    readState();
    secondLook_.start();
}

void PulseConnection::subscribe() {
    pa_context_set_subscribe_callback(
        context_.get(),
        [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
            static_cast<PulseConnection*>(self)->readState();
        },
        this);
    subscription_.reset(pa_context_subscribe(context_.get(), watched, nullptr, nullptr));
    ++requests_;
}

void PulseConnection::readState() {
    if (round_) {
        outdated_ = true;
        return;
    }
    outdated_ = false;
    round_ = std::make_unique<PulseRound>(context_.get(), [this](PulseSnapshot snapshot) {
        round_.reset();
        defaultSink_ = snapshot.defaultSink;
        defaultSource_ = snapshot.defaultSource;
        hooks_.changed(std::move(snapshot));
        if (outdated_)
            readState();
    });
    requests_ += round_->requestCount();
    ++rounds_;
}

void PulseConnection::serverLost() {
    if (retry_.isRunning())
        return;
    secondLook_.stop();
    round_.reset();
    subscription_.reset();
    for (const auto& request : waiting_)
        request->answer({PA_ERR_CONNECTIONTERMINATED});
    retryLater();
    hooks_.unreachable();
}

void PulseConnection::retryLater() {
    retry_.start(pause_);
    pause_ = std::min(pause_ * 2, longestPause);
}

void PulseConnection::onSecondLook(pa_context* /*context*/, const pa_server_info* info, void* connection) {
    auto* self = static_cast<PulseConnection*>(connection);
    if (info && self->hasMissed(*info) &&
        self->secondLook_.isSure(std::string(textOf(info->default_sink_name)) + '\n' +
                                 std::string(textOf(info->default_source_name))))
        self->takeOver();
}

/// Never while something is under way, which a later look finds done.
bool PulseConnection::hasMissed(const pa_server_info& info) const {
    return !round_ && waiting_.empty() &&
           (defaultSink_ != textOf(info.default_sink_name) || defaultSource_ != textOf(info.default_source_name));
}

void PulseConnection::takeOver() {
    subscription_.reset();
    context_ = secondLook_.take();
    watch();
    follow();
}

} // namespace parlowen
