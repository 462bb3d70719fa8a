#include "PulseSnapshot.h"

#include <algorithm>
#include <cctype>

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

} // namespace parlowen
