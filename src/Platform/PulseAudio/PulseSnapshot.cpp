#include "PulseSnapshot.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace parlowen {

namespace {

template<class Key, class Member>
const PulseEndpoint* find(const std::vector<PulseEndpoint>& endpoints, const Key& key, Member member) {
    const auto found = std::ranges::find(endpoints, key, member);
    return found == endpoints.end() ? nullptr : &*found;
}

bool isCalledMicrophone(std::string_view description) {
    std::string lower(description);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower.find("microphone") != std::string::npos || lower.find("麦克风") != std::string::npos;
}

} // namespace

const PulseEndpoint* PulseSnapshot::sink(std::string_view name) const {
    return find(sinks, name, &PulseEndpoint::name);
}

const PulseEndpoint* PulseSnapshot::sink(std::uint32_t index) const {
    return find(sinks, index, &PulseEndpoint::index);
}

const PulseEndpoint* PulseSnapshot::source(std::string_view name) const {
    return find(sources, name, &PulseEndpoint::name);
}

std::string PulseSnapshot::inputUID(std::string_view sourceName) const {
    return std::string(sourceName) + (sink(sourceName) ? ":input" : "");
}

const PulseEndpoint* PulseSnapshot::input(std::string_view uid) const {
    const auto found = std::ranges::find_if(
        sources, [&](const PulseEndpoint& source) { return !source.isMonitor() && inputUID(source.name) == uid; });
    return found == sources.end() ? nullptr : &*found;
}

int microphoneRank(bool isServersDefault, bool plugged, std::string_view description) {
    if (isServersDefault)
        return 0;
    return 1 + (plugged ? 0 : 2) + (isCalledMicrophone(description) ? 0 : 1);
}

namespace {

std::string text(const char* value) { return value ? value : ""; }

template<class Info>
bool isPlugged(const Info& info) {
    return !info.active_port || info.active_port->available != PA_PORT_AVAILABLE_NO;
}

/// What sinks and sources have in common.
template<class Info>
PulseEndpoint endpoint(const Info& info, bool hardware, bool running, const char* partner) {
    PulseEndpoint result;
    result.index = info.index;
    result.name = text(info.name);
    result.description = info.description ? info.description : result.name;
    result.partner = text(partner);
    result.bus = text(pa_proplist_gets(info.proplist, PA_PROP_DEVICE_BUS));
    result.hardware = hardware;
    result.plugged = isPlugged(info);
    result.mute = info.mute != 0;
    result.volume = static_cast<float>(pa_cvolume_avg(&info.volume)) / static_cast<float>(PA_VOLUME_NORM);
    result.running = running;
    result.spec = info.sample_spec;
    result.map = info.channel_map;
    return result;
}

void add(PulseSnapshot& snapshot, const pa_sink_info& info) {
    snapshot.sinks.push_back(
        endpoint(info, info.flags & PA_SINK_HARDWARE, info.state == PA_SINK_RUNNING, info.monitor_source_name));
}

void add(PulseSnapshot& snapshot, const pa_source_info& info) {
    snapshot.sources.push_back(
        endpoint(info, info.flags & PA_SOURCE_HARDWARE, info.state == PA_SOURCE_RUNNING, info.monitor_of_sink_name));
}

void add(PulseSnapshot& snapshot, const pa_sink_input_info& info) {
    snapshot.playbacks.push_back({info.index, info.sink,
                                  text(pa_proplist_gets(info.proplist, PA_PROP_APPLICATION_NAME)),
                                  text(pa_proplist_gets(info.proplist, PA_PROP_APPLICATION_PROCESS_BINARY)),
                                  info.corked == 0 && info.mute == 0});
}

} // namespace

void tellApart(std::vector<PulseEndpoint>& endpoints) {
    std::map<std::string, std::vector<PulseEndpoint*>> alike;
    for (PulseEndpoint& endpoint : endpoints)
        alike[endpoint.description].push_back(&endpoint);
    for (auto& [description, group] : alike) {
        for (std::size_t i = 0; group.size() > 1 && i < group.size(); ++i)
            group[i]->description += " (" + std::to_string(i + 1) + ")";
    }
}

PulseRound::PulseRound(pa_context* context, std::function<void(PulseSnapshot)> done)
    : done_(std::move(done)) {
    operations_.emplace_back(pa_context_get_server_info(context, onServer, this));
    operations_.emplace_back(pa_context_get_sink_info_list(context, onItem<pa_sink_info>, this));
    operations_.emplace_back(pa_context_get_source_info_list(context, onItem<pa_source_info>, this));
    operations_.emplace_back(pa_context_get_sink_input_info_list(context, onItem<pa_sink_input_info>, this));
    outstanding_ = operations_.size();
}

void PulseRound::onServer(pa_context* /*context*/, const pa_server_info* info, void* round) {
    auto* self = static_cast<PulseRound*>(round);
    if (info) {
        self->snapshot_.defaultSink = text(info->default_sink_name);
        self->snapshot_.defaultSource = text(info->default_source_name);
    }
    self->answered();
}

template<class Info>
void PulseRound::onItem(pa_context* /*context*/, const Info* info, int end, void* round) {
    auto* self = static_cast<PulseRound*>(round);
    if (end == 0)
        add(self->snapshot_, *info);
    else
        self->answered();
}

void PulseRound::answered() {
    if (--outstanding_ > 0)
        return;
    tellApart(snapshot_.sinks);
    tellApart(snapshot_.sources);
    const auto done = std::move(done_);
    done(std::move(snapshot_)); // this object may be gone after it
}

} // namespace parlowen
