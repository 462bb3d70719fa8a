// What a recording does at each tick: it finds out whether the server still answers, and whether the call is elsewhere.
#include "PulseRecording.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds stall = 3s;
/// What a server that hung has kept comes soon after it answers again.
constexpr std::chrono::milliseconds timeForWhatIsLate = 1s;
/// The default output's silence after which another one is offered, and taken.
constexpr std::chrono::seconds silenceToOffer = 2s, silenceToTurn = 5s;
/// Sound, in seconds, that makes another output worth turning to, and the default one worth turning back to.
constexpr double soundToTurn = 1.0, soundToTurnBack = 0.2;
/// Silence, in seconds, after which one looks at the next of several other outputs.
constexpr double silenceToGoOn = 3.0;

} // namespace

/// A server that hangs sends nothing, and neither does a stream that was forgotten: only the latter's server answers.
void PulseRecording::lookForStall(Time now) {
    if (now - lastData_ < stall || stream_->isAsleep())
        return;
    if (std::exchange(stalled_, true))
        return;
    timeline_.interrupt();
    report_.serverLost(QStringLiteral("the audio server does not answer"));
    ping_.reset(pa_context_get_server_info(
        client_->context(),
        [](pa_context*, const pa_server_info*, void* self) { static_cast<PulseRecording*>(self)->serverAnswered(); },
        this));
}

void PulseRecording::serverAnswered() {
    if (stalled_)
        retry_.start(timeForWhatIsLate);
}

void PulseRecording::lookElsewhere(const PulseSnapshot& server, Time now) {
    if (!hearsOutput() || stalled_)
        return;
    if (!instead_.empty()) {
        lookForDefault(server);
        return;
    }
    const Time quiet = report_.quiet(now);
    const auto others = playedElsewhere(server, stream_->target().sink);
    if (quiet < silenceToOffer || others.empty()) {
        scout_.stop();
        report_.setElsewhere({}, {});
        return;
    }
    const auto isWatched = [this](const PulseEndpoint* output) {
        return scout_.target() && scout_.target()->sink == output->name;
    };
    auto other = std::ranges::find_if(others, isWatched);
    if (other == others.end() || (scout_.silence() > silenceToGoOn && ++other == others.end()))
        other = others.begin();
    if (const auto target = outputTarget(server, *other))
        scout_.watch(client_->context(), *target);
    report_.setElsewhere(QString::fromStdString((*other)->name), QString::fromStdString((*other)->description));
    if (quiet >= silenceToTurn && scout_.sound() >= soundToTurn && choice_.name.empty()) {
        defaultOutput_ = server.defaultSink;
        turnTo((*other)->name);
    }
}

void PulseRecording::lookForDefault(const PulseSnapshot& server) {
    const auto target = outputTarget(server, server.sink(server.defaultSink));
    const auto playing = playedElsewhere(server, server.defaultSink);
    const bool goesOn = std::ranges::any_of(playing, [this](const auto* sink) { return sink->name == instead_; });
    if (!target || !goesOn) {
        instead_.clear();
        settle();
        return;
    }
    scout_.watch(client_->context(), *target);
    if (scout_.sound() >= soundToTurnBack)
        turnTo({});
}

/// Hears the output that the scout listens to, from a second ago, and lets the scout listen to the other one.
void PulseRecording::turnTo(const std::string& output) {
    instead_ = output;
    std::vector<float> kept;
    std::unique_ptr<PulseInputStream> heard = std::exchange(stream_, scout_.release(kept));
    stream_->setHooks(hooks());
    scout_.adopt(std::move(heard));
    reportListening();
    report_.setElsewhere({}, {});
    timeline_.append(kept.data(), kept.size() / shape_.spec.channels);
}

} // namespace parlowen
