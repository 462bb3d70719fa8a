#include "PulseCapture.h"

#include "PulseRecording.h"

#include <PulseAudio/PulseClient.h>
#include <utility>

namespace parlowen {

PulseCapture::PulseCapture(std::shared_ptr<PulseClient> client, InputObserver observer)
    : client_(std::move(client))
    , observer_(std::move(observer)) {}

PulseCapture::~PulseCapture() { PulseCapture::stop(); }

const InputShape& PulseCapture::shape() {
    if (!shape_)
        shape_ = InputShape::of(inputTarget(client_->state()->snapshot, client_->route()->choice()));
    return *shape_;
}

std::optional<AVAudioFormat> PulseCapture::format() { return shape().format(); }

std::optional<QString> PulseCapture::start(std::uint32_t framesPerBuffer, Sink sink) {
    if (recording_)
        return QStringLiteral("The input is being captured already.");
    recording_ = std::make_unique<PulseRecording>(client_, shape(), framesPerBuffer, std::move(sink), observer_);
    return std::nullopt;
}

void PulseCapture::stop() {
    recording_.reset();
    shape_.reset();
}

CaptureSourceFactory inputCapture(InputObserver observer) {
    return [observer = std::move(observer)] { return std::make_unique<PulseCapture>(PulseClient::shared(), observer); };
}

} // namespace parlowen
