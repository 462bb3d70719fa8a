#include "PulseCapture.h"

#include "CaptureConnection.h"
#include "PulseRecording.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr std::uint32_t lowestRate = 8000;
constexpr std::uint32_t highestRate = 192000;
constexpr std::uint8_t mostChannels = 8;

/// What is asked of the server: the source's own shape wherever that is sensible.
PulseSource shapeFor(PulseSource source) {
    source.spec.format = PA_SAMPLE_FLOAT32NE;
    source.spec.rate = std::clamp(source.spec.rate, lowestRate, highestRate);
    if (source.spec.channels > mostChannels) {
        source.spec.channels = 2;
        pa_channel_map_init_stereo(&source.map);
    }
    return source;
}

} // namespace

struct PulseCapture::Input {
    std::unique_ptr<CaptureConnection> connection;
    PulseSource source;
};

PulseCapture::PulseCapture(InputObserver observer)
    : observer_(std::move(observer)) {}

PulseCapture::~PulseCapture() { PulseCapture::stop(); }

std::optional<QString> PulseCapture::lookUp() {
    QString error;
    auto input = std::make_unique<Input>();
    input->connection = CaptureConnection::open(&error);
    if (!input->connection)
        return error;
    const std::optional<PulseSource> source = input->connection->defaultSource(&error);
    if (!source)
        return error;
    input->source = shapeFor(*source);
    input_ = std::move(input);
    return std::nullopt;
}

std::optional<AVAudioFormat> PulseCapture::format() {
    if (!input_ && lookUp().has_value())
        return std::nullopt;
    return PulseRecording::formatOf(input_->source.spec);
}

std::optional<QString> PulseCapture::start(std::uint32_t framesPerBuffer, Sink sink) {
    if (recording_)
        return QStringLiteral("The default input is being captured already.");
    std::optional<QString> error = input_ ? std::nullopt : lookUp();
    if (error)
        return error;
    error = record(framesPerBuffer, sink);
    if (error && findNextDefault())
        error = record(framesPerBuffer, sink);
    if (error)
        stop();
    return error;
}

std::optional<QString> PulseCapture::record(std::uint32_t framesPerBuffer, const Sink& sink) {
    recording_ =
        std::make_unique<PulseRecording>(*input_->connection, input_->source, framesPerBuffer, sink, observer_);
    return recording_->begin();
}

/// Whether another source has become the default since the look-up; it is recorded in the format that was told.
bool PulseCapture::findNextDefault() {
    recording_.reset();
    QString error;
    const std::optional<PulseSource> now = input_->connection->defaultSource(&error);
    if (!now || now->name == input_->source.name)
        return false;
    input_->source.name = now->name;
    input_->source.description = now->description;
    input_->source.isMonitor = now->isMonitor;
    return true;
}

void PulseCapture::stop() {
    recording_.reset();
    input_.reset();
}

CaptureSourceFactory defaultInputCapture(InputObserver observer) {
    return [observer = std::move(observer)] { return std::make_unique<PulseCapture>(observer); };
}

} // namespace parlowen
