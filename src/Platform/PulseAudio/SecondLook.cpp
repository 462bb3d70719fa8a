#include "SecondLook.h"

#include <array>
#include <utility>

namespace parlowen {

namespace {

using namespace std::chrono_literals;

constexpr auto pauseToMakeSure = 200ms;
/// Before each look; the last is what the last look may take.
constexpr std::array<std::chrono::milliseconds, 5> pauses{500ms, 1000ms, 2500ms, 6000ms, 3000ms};

} // namespace

SecondLook::SecondLook(pa_mainloop_api* api, std::string address, Ask ask)
    : api_(api)
    , address_(std::move(address))
    , ask_(std::move(ask))
    , timer_(api, [this] { look(); }) {}

void SecondLook::start() {
    endLook();
    looks_ = 0;
    doubt_.reset();
    timer_.start(pauses.front());
}

void SecondLook::stop() {
    timer_.stop();
    endLook();
}

void SecondLook::endLook() {
    question_.reset();
    context_.reset();
}

bool SecondLook::isSure(const std::string& answer) {
    doubt_ = answer;
    if (doubtBefore_ == doubt_)
        return true;
    --looks_;
    timer_.start(pauseToMakeSure);
    return false;
}

PulseContext SecondLook::take() {
    pa_context_set_state_callback(context_.get(), nullptr, nullptr);
    return std::move(context_);
}

void SecondLook::look() {
    endLook();
    doubtBefore_ = std::exchange(doubt_, std::nullopt);
    if (++looks_ == pauses.size())
        return;
    timer_.start(pauses.at(looks_));
    context_.reset(pa_context_new(api_, "Parlowen"));
    pa_context_set_state_callback(
        context_.get(), [](pa_context*, void* self) { static_cast<SecondLook*>(self)->stateChanged(); }, this);
    const char* server = address_.empty() ? nullptr : address_.c_str();
    pa_context_connect(context_.get(), server, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void SecondLook::stateChanged() {
    if (pa_context_get_state(context_.get()) == PA_CONTEXT_READY)
        question_.reset(ask_(context_.get()));
}

} // namespace parlowen
