// How a recording keeps to the server's default source: answers and events carry it forward, and a tick, ten times a
// second while something is amiss, begins anew what has failed.
#include "PulseRecording.h"

namespace parlowen {

namespace {

constexpr pa_usec_t tickLengthWhileAllIsWell = 500 * PA_USEC_PER_MSEC;
constexpr pa_usec_t pauseBetweenAttempts = 200 * PA_USEC_PER_MSEC;
constexpr pa_usec_t patience = 3 * PA_USEC_PER_SEC; // with a server that does not answer

} // namespace

void PulseRecording::keepFollowing() {
    connection_.onStateChange([this] {
        followIfUp();
        tickAfter(0);
    });
    ticker_ = pa_context_rttime_new(connection_.context(), pa_rtclock_now() + tickLength, onTick, this);
    followIfUp();
}

void PulseRecording::followIfUp() {
    if (!connection_.isUp())
        return;
    subscribe();
    secondLook_.start();
}

void PulseRecording::subscribe() {
    constexpr auto watched =
        static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SOURCE);
    serverIsLost_ = false;
    pa_context_set_subscribe_callback(connection_.context(), onServerEvent, this);
    subscription_.reset(pa_context_subscribe(connection_.context(), watched, nullptr, nullptr));
    askForDefault();
}

void PulseRecording::onServerEvent(pa_context* /*context*/, pa_subscription_event_type_t event, std::uint32_t /*index*/,
                                   void* data) {
    constexpr unsigned sourceChanged = PA_SUBSCRIPTION_EVENT_SOURCE | PA_SUBSCRIPTION_EVENT_CHANGE;
    if (event != sourceChanged) // its volume, as a rule
        static_cast<PulseRecording*>(data)->askForDefault();
}

void PulseRecording::askForDefault() {
    outdated_ = question_ != nullptr;
    if (outdated_)
        return;
    answer_.reset();
    waitingSince_ = pa_rtclock_now();
    question_.reset(
        pa_context_get_source_info_by_name(connection_.context(), "@DEFAULT_SOURCE@", onDefaultSource, this));
}

void PulseRecording::onDefaultSource(pa_context* /*context*/, const pa_source_info* info, int last, void* data) {
    auto* self = static_cast<PulseRecording*>(data);
    if (info)
        self->answer_ = CaptureConnection::sourceOf(*info);
    if (last == 0)
        return;
    self->question_.reset();
    if (self->outdated_)
        self->askForDefault();
    else
        self->follow();
}

void PulseRecording::follow() {
    dropDeadStream();
    if (!answer_) {
        if (!stream_)
            report_.noInput();
        return;
    }
    if (stream_ && answer_->name == source_.name)
        return;
    closeStream();
    source_.name = answer_->name;
    source_.description = answer_->description;
    source_.isMonitor = answer_->isMonitor;
    openStream();
}

void PulseRecording::onSecondLook(pa_context* /*context*/, const pa_source_info* info, int /*last*/, void* data) {
    auto* self = static_cast<PulseRecording*>(data);
    if (info && self->hasMissed(*info) && self->secondLook_.isSure(info->name))
        self->takeOver();
}

bool PulseRecording::hasMissed(const pa_source_info& now) const {
    const QString name = QString::fromUtf8(now.name);
    const bool known = (recording_ && source_.name == name) || (answer_ && answer_->name == name);
    return connection_.isUp() && !question_ && !known;
}

void PulseRecording::takeOver() {
    subscription_.reset();
    closeStream();
    connection_.use(secondLook_.take());
    followIfUp();
}

void PulseRecording::onTick(pa_mainloop_api* /*api*/, pa_time_event* /*event*/, const timeval* /*time*/, void* data) {
    auto* self = static_cast<PulseRecording*>(data);
    self->timeline_.fill(clock());
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(self->connection_.context())))
        self->reconnect();
    else if (!self->connection_.isUp())
        self->reconnectAfter(patience);
    else
        self->repairStream();
    const bool well = self->recording_ && !self->timeline_.isInterrupted();
    self->tickAfter(well ? tickLengthWhileAllIsWell : tickLength);
}

void PulseRecording::tickAfter(pa_usec_t time) {
    if (ticker_)
        pa_context_rttime_restart(connection_.context(), ticker_, pa_rtclock_now() + time);
}

void PulseRecording::reconnect() {
    if (!serverIsLost_) {
        report_.serverLost(connection_.lastError());
        serverIsLost_ = true;
        question_.reset();
        subscription_.reset();
        closeStream();
    }
    reconnectAfter(pauseBetweenAttempts);
}

void PulseRecording::reconnectAfter(pa_usec_t pause) {
    if (!hasWaitedFor(pause))
        return;
    waitingSince_ = pa_rtclock_now();
    connection_.reconnect();
}

/// Returns whether a recording has just ended.
bool PulseRecording::dropDeadStream() {
    const bool hasEnded = recording_ && !isStreamGood();
    if (hasEnded)
        report_.inputLost();
    if (stream_ && !isStreamGood())
        closeStream();
    return hasEnded;
}

void PulseRecording::repairStream() {
    if (dropDeadStream())
        askForDefault();
    else if (!recording_ && hasWaitedFor(stream_ || question_ ? patience : pauseBetweenAttempts)) {
        closeStream();
        question_.reset();
        askForDefault();
    }
}

bool PulseRecording::hasWaitedFor(pa_usec_t time) const { return pa_rtclock_now() - waitingSince_ >= time; }

} // namespace parlowen
