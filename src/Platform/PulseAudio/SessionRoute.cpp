#include "SessionRoute.h"

#include <QString>
#include <algorithm>
#include <utility>
#include <vector>

namespace parlowen {

std::optional<SessionRoute::Choice> SessionRoute::choice() const {
    const std::lock_guard lock(mutex_);
    return choice_;
}

void SessionRoute::choose(const Choice& choice) {
    {
        const std::lock_guard lock(mutex_);
        if (choice_ == choice)
            return;
        choice_ = choice;
    }
    const std::lock_guard lock(observers_->mutex);
    const auto list = observers_->list; // an observer may leave meanwhile
    for (const auto& [number, observer] : list) {
        if (observers_->list.contains(number))
            observer();
    }
}

std::shared_ptr<void> SessionRoute::watch(Observer observer) {
    const std::lock_guard lock(observers_->mutex);
    const int number = observers_->next++;
    observers_->list.emplace(number, std::move(observer));
    return {nullptr, [observers = observers_, number](std::nullptr_t) {
                const std::lock_guard removal(observers->mutex);
                observers->list.erase(number);
            }};
}

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds silenceToOffer = 2s, silenceToTurn = 5s;
// Seconds:
constexpr double soundToTurn = 1.0, soundToTurnBack = 0.2, silenceToGoOn = 3.0;

using Choice = SessionRoute::Choice;

std::optional<InputTarget> microphoneTarget(const PulseSnapshot& server, const Choice& choice) {
    const PulseEndpoint* serversDefault = server.source(server.defaultSource);
    const bool choseAnew = serversDefault && !serversDefault->isMonitor() &&
                           server.inputUID(serversDefault->name) != choice.serversDefault;
    const auto rank = [&](const PulseEndpoint& source) {
        return microphoneRank(&source == serversDefault, source.plugged, source.description);
    };
    const PulseEndpoint* pinned = choseAnew ? nullptr : server.input(choice.name);
    const PulseEndpoint* fittest = pinned;
    for (const PulseEndpoint& source : server.sources) {
        if (!pinned && !source.isMonitor() && (!fittest || rank(source) < rank(*fittest)))
            fittest = &source;
    }
    if (!fittest)
        return std::nullopt;
    InputTarget target;
    target.source = fittest->name;
    target.kind = SessionRoute::What::Microphone;
    target.name = fittest->description;
    target.muted = fittest->mute;
    target.spec = fittest->spec;
    target.map = fittest->map;
    return target;
}

bool isCalled(const PulsePlayback& playback, const std::string& name) {
    const QString wanted = QString::fromStdString(name);
    return QString::fromStdString(playback.application).contains(wanted, Qt::CaseInsensitive) ||
           QString::fromStdString(playback.binary).contains(wanted, Qt::CaseInsensitive);
}

/// Of several the one that sounds; of those the one that is heard already, so that no short sound takes the call's
/// place, else the newest.
std::optional<InputTarget> applicationTarget(const PulseSnapshot& server, const std::string& name,
                                             std::uint32_t present) {
    const PulsePlayback* found = nullptr;
    const auto worth = [present](const PulsePlayback& one) {
        return 2 * int{one.sounding} + int{one.index == present};
    };
    for (const PulsePlayback& playback : server.playbacks) {
        if (isCalled(playback, name) && (!found || worth(playback) >= worth(*found)))
            found = &playback;
    }
    auto target = found ? outputTarget(server, server.sink(found->sink)) : std::nullopt;
    if (!target)
        return std::nullopt;
    target->kind = SessionRoute::What::Application;
    target->playback = found->index;
    target->name = found->application.empty() ? found->binary : found->application;
    target->muted = false;
    target->paused = !found->sounding;
    return target;
}

} // namespace

std::string chosenOutput(const PulseSnapshot& server, const Choice& choice) {
    const bool choseAnew = !choice.serversDefault.empty() && server.defaultSink != choice.serversDefault;
    const bool counts = choice.what == SessionRoute::What::Output && !choseAnew && server.sink(choice.name);
    return counts ? choice.name : std::string();
}

std::optional<InputTarget> outputTarget(const PulseSnapshot& server, const PulseEndpoint* sink) {
    const PulseEndpoint* monitor = sink ? server.source(sink->partner) : nullptr;
    if (!monitor)
        return std::nullopt;
    InputTarget target;
    target.source = monitor->name;
    target.sink = sink->name;
    target.name = sink->description;
    target.muted = sink->mute || sink->volume <= 0 || monitor->mute;
    target.spec = monitor->spec;
    target.map = monitor->map;
    return target;
}

std::optional<InputTarget> inputTarget(const PulseSnapshot& server, const std::optional<Choice>& choice,
                                       const std::string& instead, std::uint32_t present) {
    const Choice wanted = choice.value_or(Choice());
    switch (wanted.what) {
    case SessionRoute::What::Microphone:
        return microphoneTarget(server, wanted);
    case SessionRoute::What::Application:
        return applicationTarget(server, wanted.name, present);
    case SessionRoute::What::Output:
        break;
    }
    for (const std::string& name : {chosenOutput(server, wanted), instead, server.defaultSink}) {
        if (auto target = outputTarget(server, server.sink(name)))
            return target;
    }
    return std::nullopt;
}

std::vector<const PulseEndpoint*> playedElsewhere(const PulseSnapshot& server, const std::string& sink) {
    std::vector<const PulseEndpoint*> outputs;
    for (const PulseEndpoint& other : server.sinks) {
        const bool played = std::ranges::any_of(server.playbacks, [&other](const PulsePlayback& playback) {
            return playback.sink == other.index && playback.sounding;
        });
        if (played && other.name != sink)
            outputs.push_back(&other);
    }
    return outputs;
}

OutputTurn OutputTurn::away(const PulseSnapshot& server, const std::string& heard, bool isChosen,
                            std::chrono::microseconds quiet, const Scouted& scouted) {
    OutputTurn turn;
    const auto others = playedElsewhere(server, heard);
    if (quiet < silenceToOffer || others.empty())
        return turn;
    auto other = std::ranges::find(others, scouted.sink, &PulseEndpoint::name);
    if (other == others.end() || (scouted.silence > silenceToGoOn && ++other == others.end()))
        other = others.begin();
    turn.watch = (*other)->name;
    const double sound = turn.watch == scouted.sink ? scouted.sound : 0;
    turn.offers = sound > 0;
    turn.turns = quiet >= silenceToTurn && sound >= soundToTurn && !isChosen;
    return turn;
}

OutputTurn OutputTurn::back(const PulseSnapshot& server, const std::string& heard, const Scouted& scouted) {
    const auto playing = playedElsewhere(server, server.defaultSink);
    const bool goesOn = std::ranges::find(playing, heard, &PulseEndpoint::name) != playing.end();
    OutputTurn turn;
    turn.isOver = !goesOn || !outputTarget(server, server.sink(server.defaultSink));
    if (turn.isOver)
        return turn;
    turn.watch = server.defaultSink;
    turn.turns = turn.watch == scouted.sink && scouted.sound >= soundToTurnBack;
    return turn;
}

} // namespace parlowen
