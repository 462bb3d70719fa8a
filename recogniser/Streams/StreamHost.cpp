#include "StreamHost.h"

#include <nlohmann/json.hpp>

namespace parlowen::recogniser {

std::string takenBody(std::int64_t taken, std::int64_t needed) {
    return nlohmann::json{{"taken", taken}, {"needed", needed}}.dump();
}

std::string capacityBody(std::size_t streams) { return nlohmann::json{{"capacity", streams}}.dump(); }

std::int64_t startOf(const Frame& open) {
    const auto json = nlohmann::json::parse(open.body, nullptr, false);
    return json.is_object() ? json.value("at", std::int64_t{0}) : 0;
}

} // namespace parlowen::recogniser
