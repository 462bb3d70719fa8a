#include "PulseClient.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds firstPause = 100ms, longestPause = 400ms, patience = 5s;

constexpr auto watched = static_cast<pa_subscription_mask_t>(
    static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SINK) | static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SOURCE) |
    static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SINK_INPUT) | static_cast<unsigned>(PA_SUBSCRIPTION_MASK_SERVER));

std::string textOf(const char* value) { return value ? value : ""; }

} // namespace

PulseClient::PulseClient(std::string address)
    : address_(std::move(address))
    , state_(std::make_shared<State>())
    , pause_(firstPause)
    , retry_(loop_.api(), [this] { connect(); })
    , patience_(loop_.api(), [this] { overdue(); })
    , secondLook_(loop_.api(), address_,
                  [this](pa_context* context) { return pa_context_get_server_info(context, onSecondLook, this); }) {
    loop_.start();
    const Lock lock(*this);
    connect();
}

PulseClient::~PulseClient() {
    {
        const Lock lock(*this);
        retry_.stop();
        patience_.stop();
        secondLook_.stop();
        round_.reset();
        subscription_.reset();
        context_.reset();
    }
    loop_.stop();
}

std::shared_ptr<PulseClient> PulseClient::shared() {
    static std::mutex mutex;
    static std::weak_ptr<PulseClient> known;
    const std::lock_guard lock(mutex);
    std::shared_ptr<PulseClient> client = known.lock();
    if (!client) {
        client = std::make_shared<PulseClient>();
        known = client;
    }
    return client;
}

PulseClient::StatePtr PulseClient::state() const {
    const std::lock_guard lock(stateMutex_);
    return state_;
}

PulseClient::StatePtr PulseClient::waitUntilKnown(std::chrono::milliseconds bound) {
    const Lock lock(*this);
    waitFor([this] { return state()->phase != Phase::Connecting; }, bound);
    return state();
}

std::shared_ptr<void> PulseClient::watch(Observer observer) {
    const Lock lock(*this);
    const int number = nextObserver_++;
    observers_.emplace(number, std::move(observer));
    return {nullptr, [this, number](std::nullptr_t) {
                const Lock removal(*this);
                observers_.erase(number);
            }};
}

void PulseClient::publish(State state) {
    state.connection = connections_;
    auto next = std::make_shared<const State>(std::move(state));
    {
        const std::lock_guard lock(stateMutex_);
        state_ = next;
    }
    const auto observers = observers_; // one may leave meanwhile
    for (const auto& [number, observer] : observers) {
        if (observers_.contains(number))
            observer(next);
    }
    wake();
}

void PulseClient::connect() {
    context_.reset(pa_context_new(loop_.api(), "Parlowen"));
    ++connections_;
    watchContext();
    patience_.start(patience);
    const char* server = address_.empty() ? nullptr : address_.c_str();
    if (pa_context_connect(context_.get(), server, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        lost();
}

void PulseClient::watchContext() {
    pa_context_set_state_callback(
        context_.get(), [](pa_context*, void* self) { static_cast<PulseClient*>(self)->stateChanged(); }, this);
}

void PulseClient::stateChanged() {
    const pa_context_state_t state = pa_context_get_state(context_.get());
    if (state == PA_CONTEXT_READY) {
        pause_ = firstPause;
        follow();
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        lost();
    }
}

void PulseClient::follow() {
    subscribe();
    readState();
    secondLook_.start();
}

void PulseClient::subscribe() {
    pa_context_set_subscribe_callback(
        context_.get(),
        [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
            static_cast<PulseClient*>(self)->readState();
        },
        this);
    subscription_.reset(pa_context_subscribe(context_.get(), watched, nullptr, nullptr));
    ++requests_;
}

void PulseClient::readState() {
    outdated_ = round_ != nullptr;
    if (outdated_)
        return;
    round_ = std::make_unique<PulseRound>(context_.get(), [this](PulseSnapshot snapshot) {
        round_.reset();
        patience_.stop();
        publish({Phase::Up, {}, 0, std::move(snapshot)});
        if (outdated_)
            readState();
    });
    requests_ += round_->requestCount();
    ++rounds_;
}

void PulseClient::lost() {
    if (retry_.isRunning())
        return;
    const int error = pa_context_errno(context_.get());
    const bool refused = error == PA_ERR_ACCESS || error == PA_ERR_AUTHKEY;
    patience_.stop();
    secondLook_.stop();
    round_.reset();
    subscription_.reset();
    retry_.start(pause_);
    pause_ = std::min(pause_ * 2, longestPause);
    publish({refused ? Phase::Refused : Phase::Away, pa_strerror(error), 0, {}});
}

/// Connected or not, the server has not answered for as long as one can bear; another connection may do better.
void PulseClient::overdue() {
    publish({Phase::Away, pa_strerror(PA_ERR_TIMEOUT), 0, {}});
    secondLook_.stop();
    round_.reset();
    subscription_.reset();
    connect();
}

void PulseClient::onSecondLook(pa_context* /*context*/, const pa_server_info* info, void* client) {
    auto* self = static_cast<PulseClient*>(client);
    if (info && self->hasMissed(*info) &&
        self->secondLook_.isSure(textOf(info->default_sink_name) + '\n' + textOf(info->default_source_name)))
        self->takeOver();
}

/// Never while something is under way, which a later look finds done.
bool PulseClient::hasMissed(const pa_server_info& info) const {
    const PulseSnapshot& known = state()->snapshot;
    return !round_ && (known.defaultSink != textOf(info.default_sink_name) ||
                       known.defaultSource != textOf(info.default_source_name));
}

void PulseClient::takeOver() {
    subscription_.reset();
    context_ = secondLook_.take();
    ++connections_;
    watchContext();
    follow();
}

std::string PulseClient::lastError() const {
    const int error = pa_context_errno(context_.get());
    return pa_strerror(error == PA_OK ? PA_ERR_TIMEOUT : error);
}

bool PulseClient::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    const auto end = PulseEventLoop::Clock::now() + bound;
    while (!condition()) {
        if (!loop_.waitUntil(end))
            return condition();
    }
    return true;
}

void PulseClient::startServer() {
    const std::unique_ptr<pa_mainloop, decltype(&pa_mainloop_free)> loop(pa_mainloop_new(), pa_mainloop_free);
    const PulseContext context(pa_context_new(pa_mainloop_get_api(loop.get()), "Parlowen"));
    const auto end = PulseEventLoop::Clock::now() + patience;
    if (pa_context_connect(context.get(), nullptr, PA_CONTEXT_NOFLAGS, nullptr) < 0)
        return;
    while (PA_CONTEXT_IS_GOOD(pa_context_get_state(context.get())) &&
           pa_context_get_state(context.get()) != PA_CONTEXT_READY && PulseEventLoop::Clock::now() < end) {
        pa_mainloop_prepare(loop.get(), 100'000);
        pa_mainloop_poll(loop.get());
        pa_mainloop_dispatch(loop.get());
    }
}

} // namespace parlowen
