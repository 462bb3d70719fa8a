#pragma once

#include "Gateway.h"
#include "SpeechPlaces.h"

#include <boost/asio/awaitable.hpp>

namespace parlowen::service {

/// Serves the speech protocol on a connection whose upgrade request was let in. Returns once it has ended.
boost::asio::awaitable<void> serveSpeech(const EngineSet& engines, const SpeechGatewayOptions& options,
                                         const HttpRequest& request, SpeechTokens::Session& token,
                                         SpeechPlaces::Place& place, UpgradedStream stream);

} // namespace parlowen::service
