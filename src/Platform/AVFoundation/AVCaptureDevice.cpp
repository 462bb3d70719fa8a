#include "AVCaptureDevice.h"

#include "CaptureConnection.h"

#include <Foundation/BackgroundQueue.h>

#include <utility>

namespace parlowen::AVCaptureDevice {

namespace {

struct SourceCount {
    CaptureConnection* connection;
    int microphones = 0;
    bool done = false;
};

void onSource(pa_context* /*context*/, const pa_source_info* info, int last, void* data) {
    auto* count = static_cast<SourceCount*>(data);
    if (info && info->monitor_of_sink == PA_INVALID_INDEX)
        ++count->microphones;
    count->done = count->done || last != 0;
    count->connection->wake();
}

AVAuthorizationStatus statusOf(int error) {
    const bool refused = error == PA_ERR_ACCESS || error == PA_ERR_AUTHKEY;
    return refused ? AVAuthorizationStatus::Denied : AVAuthorizationStatus::NotDetermined;
}

AVAuthorizationStatus ask(CaptureConnection::Start start) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(CaptureConnection::patience);
    QString error;
    int code = PA_OK;
    const std::unique_ptr<CaptureConnection> connection = CaptureConnection::open(&error, &code, start);
    if (!connection)
        return statusOf(code);
    const CaptureConnection::Lock lock(*connection);
    SourceCount count{connection.get()};
    const PulseOperation listing(pa_context_get_source_info_list(connection->context(), onSource, &count));
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const auto settled = [&] { return count.done || !connection->isUp(); };
    if (!listing || !connection->waitFor(settled, left) || !count.done)
        return statusOf(connection->lastErrorCode());
    if (count.microphones > 0)
        return AVAuthorizationStatus::Authorized;
    const bool refused = statusOf(connection->lastErrorCode()) == AVAuthorizationStatus::Denied;
    return refused ? AVAuthorizationStatus::Denied : AVAuthorizationStatus::Restricted;
}

} // namespace

AVAuthorizationStatus authorizationStatusForAudio() { return ask(CaptureConnection::Start::Never); }

void requestAccessForAudio(std::function<void(bool granted)> completion) {
    inBackground([completion = std::move(completion)] {
        completion(ask(CaptureConnection::Start::IfMissing) == AVAuthorizationStatus::Authorized);
    });
}

} // namespace parlowen::AVCaptureDevice
