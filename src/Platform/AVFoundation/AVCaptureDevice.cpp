#include "AVCaptureDevice.h"

#include <Foundation/BackgroundQueue.h>
#include <PulseAudio/PulseClient.h>
#include <algorithm>
#include <utility>

namespace parlowen::AVCaptureDevice {

namespace {

AVAuthorizationStatus statusOf(const PulseClient::State& server) {
    switch (server.phase) {
    case PulseClient::Phase::Refused:
        return AVAuthorizationStatus::Denied;
    case PulseClient::Phase::Up:
        break;
    case PulseClient::Phase::Connecting:
    case PulseClient::Phase::Away:
        return AVAuthorizationStatus::NotDetermined;
    }
    const bool any =
        std::ranges::any_of(server.snapshot.sources, [](const PulseEndpoint& source) { return !source.isMonitor(); });
    return any ? AVAuthorizationStatus::Authorized : AVAuthorizationStatus::Restricted;
}

} // namespace

AVAuthorizationStatus authorizationStatusForAudio() { return statusOf(*PulseClient::shared()->state()); }

void requestAccessForAudio(std::function<void(bool granted)> completion) {
    inBackground([completion = std::move(completion)] {
        PulseClient::startServer();
        const std::shared_ptr<PulseClient> client = PulseClient::shared();
        {
            const PulseClient::Lock lock(*client);
            client->waitFor([&client] { return client->state()->phase == PulseClient::Phase::Up; },
                            std::chrono::seconds(1));
        }
        completion(statusOf(*client->state()) == AVAuthorizationStatus::Authorized);
    });
}

} // namespace parlowen::AVCaptureDevice
