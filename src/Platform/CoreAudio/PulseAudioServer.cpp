#include "PulseAudioServer.h"

#include "PulseDevices.h"

#include <PulseAudio/PulseClient.h>
#include <utility>

namespace parlowen {

PulseAudioServer::PulseAudioServer(std::shared_ptr<PulseClient> client)
    : ProgramAudioServer(client->route())
    , client_(std::move(client)) {
    const auto take = [this](const PulseClient::StatePtr& state) {
        const bool up = state->phase == PulseClient::Phase::Up;
        setServerDevices(up ? std::optional(devicesOf(state->snapshot)) : std::nullopt);
    };
    const PulseClient::Lock lock(*client_);
    watch_ = client_->watch(take);
    take(client_->state());
}

PulseAudioServer::~PulseAudioServer() = default;

} // namespace parlowen
