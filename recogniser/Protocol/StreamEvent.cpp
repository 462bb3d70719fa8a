#include "StreamEvent.h"

#include <array>
#include <nlohmann/json.hpp>

namespace parlowen::recogniser {

namespace {

constexpr std::array<const char*, 4> kindNames{"start", "partial", "final", "end"};

} // namespace

std::string encode(const StreamEvent& event) {
    const nlohmann::json json{{"kind", kindNames[static_cast<std::size_t>(event.kind)]},
                              {"text", event.text},
                              {"settled", event.settled},
                              {"from", event.from},
                              {"to", event.to}};
    // A model may cut a character in two.
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<StreamEvent> decodeStreamEvent(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object())
        return std::nullopt;
    try {
        StreamEvent event;
        const auto name = json.at("kind").get<std::string>();
        const auto* found = std::find(kindNames.begin(), kindNames.end(), name);
        if (found == kindNames.end())
            return std::nullopt;
        event.kind = static_cast<StreamEvent::Kind>(found - kindNames.begin());
        event.text = json.at("text").get<std::string>();
        event.settled = json.at("settled").get<std::size_t>();
        event.from = json.at("from").get<std::int64_t>();
        event.to = json.at("to").get<std::int64_t>();
        return event;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

} // namespace parlowen::recogniser
