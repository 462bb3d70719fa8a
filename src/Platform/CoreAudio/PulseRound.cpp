#include "PulseRound.h"

namespace parlowen {

namespace {

std::string text(const char* value) { return value ? value : ""; }

FourCharCode transportOf(pa_proplist* properties, bool hardware) {
    const std::string bus = text(pa_proplist_gets(properties, PA_PROP_DEVICE_BUS));
    if (bus == "usb")
        return fourCC("usb ");
    if (bus == "pci")
        return fourCC("pci ");
    if (bus == "bluetooth")
        return fourCC("blue");
    return hardware ? 0 : fourCC("virt");
}

/// What sinks and sources have in common.
template<class Info>
PulseEndpoint endpoint(const Info& info, bool hardware, bool running, const char* partner) {
    PulseEndpoint result;
    result.name = text(info.name);
    result.description = text(info.description);
    result.partner = text(partner);
    result.ownerModule = info.owner_module;
    result.hardware = hardware;
    result.side.volume = static_cast<float>(pa_cvolume_avg(&info.volume)) / static_cast<float>(PA_VOLUME_NORM);
    result.side.mute = info.mute != 0;
    result.sampleRate = info.sample_spec.rate;
    result.running = running;
    result.transport = transportOf(info.proplist, hardware);
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

void add(PulseSnapshot& snapshot, const pa_module_info& info) {
    snapshot.modules.push_back({info.index, text(info.name), text(info.argument)});
}

} // namespace

PulseRound::PulseRound(pa_context* context, std::function<void(PulseSnapshot)> done)
    : done_(std::move(done)) {
    operations_.emplace_back(pa_context_get_server_info(context, onServer, this));
    operations_.emplace_back(pa_context_get_sink_info_list(context, onItem<pa_sink_info>, this));
    operations_.emplace_back(pa_context_get_source_info_list(context, onItem<pa_source_info>, this));
    operations_.emplace_back(pa_context_get_module_info_list(context, onItem<pa_module_info>, this));
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
    const auto done = std::move(done_);
    done(std::move(snapshot_)); // this object may be gone after it
}

} // namespace parlowen
