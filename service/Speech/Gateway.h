#pragma once

#include "Engine.h"
#include "Http/Router.h"
#include "SpeechTokens.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>

namespace parlowen::service {

/// Limits of the speech gateway.
struct SpeechGatewayOptions {
    std::size_t sessions = 16;                            ///< at the same time; SpeechPlaces says who gets them
    std::size_t sessionsOfAUser = 4;                      ///< of these; whoever gets none is refused with HTTP 503
    std::size_t unsentBytes = std::size_t{1'024} * 1'024; ///< of messages that a client does not fetch
    std::chrono::milliseconds idle{180'000};              ///< a connection on which no sound arrives ends after this
    std::chrono::milliseconds quiet{30'000};              ///< one without a sound for that long gives way more easily
    std::chrono::milliseconds write{30'000};              ///< a connection that takes no message for that long is cut
    std::chrono::milliseconds closing{10'000};            ///< for opening, and for closing before the connection is cut
};

/// The speech protocol on a WebSocket: recognition and recognition with translation, turn by turn.
/// The request's `Authorization: Bearer` (header or query parameter) must hold a token that opens; else HTTP 401.
WebSocketHandler makeSpeechGateway(SpeechTokens& tokens, EngineSet& engines, SpeechGatewayOptions options = {});

/// Everything that speech needs: tokens and engines. Outlives the server that its routes are in.
struct SpeechService {
    SpeechTokens tokens;
    EngineSet engines;
    SpeechGatewayOptions options;

    /// With the engines that this machine has: the recogniser, with the user's models in the folder `models` of the
    /// data directory, and Apertium. The model of `firstLocale` is loaded at once, others when they are used first.
    static std::unique_ptr<SpeechService> withLocalEngines(const std::filesystem::path& data,
                                                           std::string_view firstLocale);
    /// What recognition and translation really offer.
    OfferedLanguages languages() const { return engines.languages(); }
};

/// Routes the gateway under the newer and the older paths of the speech protocol.
void addSpeechRoutes(Router& router, SpeechService& speech);

} // namespace parlowen::service
