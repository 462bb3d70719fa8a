#include "PulseRecording.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

/// Every buffer limit is left to the server but the fragment: the server sends that much at a time.
pa_buffer_attr bufferAttributes(const pa_sample_spec& spec, std::uint32_t framesPerBuffer) {
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = framesPerBuffer * static_cast<std::uint32_t>(pa_frame_size(&spec));
    return attributes;
}

} // namespace

AVAudioFormat PulseRecording::formatOf(const pa_sample_spec& spec) {
    return *AVAudioFormat::make(AVAudioCommonFormat::Float32, spec.rate, spec.channels, true);
}

CaptureTimeline::Time PulseRecording::clock() {
    return CaptureTimeline::Time{static_cast<CaptureTimeline::Time::rep>(pa_rtclock_now())};
}

PulseRecording::PulseRecording(CaptureConnection& connection, PulseSource source, std::uint32_t framesPerBuffer,
                               CaptureSource::Sink sink, InputObserver observer)
    : connection_(connection)
    , source_(std::move(source))
    , framesPerBuffer_(framesPerBuffer)
    , report_(std::move(observer))
    , timeline_(formatOf(source_.spec), framesPerBuffer,
                [this, sink = std::move(sink)](std::shared_ptr<AVAudioPCMBuffer> buffer) {
                    if (!timeline_.isInterrupted())
                        report_.heard(*buffer);
                    sink(std::move(buffer));
                })
    , secondLook_(connection_.loopApi(), {}, [this](pa_context* context) {
        return pa_context_get_source_info_by_name(context, "@DEFAULT_SOURCE@", onSecondLook, this);
    }) {}

PulseRecording::~PulseRecording() {
    const CaptureConnection::Lock lock(connection_);
    connection_.onStateChange(nullptr);
    pa_context_set_subscribe_callback(connection_.context(), nullptr, nullptr);
    if (ticker_)
        connection_.loopApi()->time_free(ticker_);
    secondLook_.stop();
    question_.reset();
    subscription_.reset();
    stream_.reset();
}

std::optional<QString> PulseRecording::begin() {
    const CaptureConnection::Lock lock(connection_);
    if (openStream())
        connection_.waitFor([this] { return recording_ || !isStreamGood(); });
    if (!recording_)
        return QStringLiteral("The audio server does not let this program record: %1.").arg(connection_.lastError());
    keepFollowing();
    return std::nullopt;
}

/// The stream stays with the one source: which one is recorded is decided here alone.
bool PulseRecording::openStream() {
    waitingSince_ = pa_rtclock_now();
    stream_.reset(pa_stream_new(connection_.context(), "Interview sound", &source_.spec, &source_.map));
    if (!stream_)
        return false;
    pa_stream_set_read_callback(stream_.get(), onReadable, this);
    pa_stream_set_state_callback(stream_.get(), onStreamState, this);
    const pa_buffer_attr attributes = bufferAttributes(source_.spec, framesPerBuffer_);
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    return pa_stream_connect_record(stream_.get(), source_.name.toUtf8().constData(), &attributes, flags) == 0;
}

void PulseRecording::closeStream() {
    timeline_.interrupt();
    stream_.reset();
    recording_ = false;
    waitingSince_ = pa_rtclock_now();
    tickAfter(tickLength);
}

void PulseRecording::onStreamState(pa_stream* stream, void* data) {
    auto* self = static_cast<PulseRecording*>(data);
    if (pa_stream_get_state(stream) == PA_STREAM_READY) {
        self->recording_ = true;
        self->report_.listening(self->source_.description,
                                self->source_.isMonitor ? InputKind::SystemSound : InputKind::Microphone);
    }
    if (!self->isStreamGood())
        self->tickAfter(0);
    self->connection_.wake();
}

void PulseRecording::onReadable(pa_stream* /*stream*/, std::size_t /*bytes*/, void* data) {
    static_cast<PulseRecording*>(data)->readAll();
}

void PulseRecording::readAll() {
    const std::size_t frameSize = pa_frame_size(&source_.spec);
    const std::size_t missingBefore = timeline_.framesMissing();
    const std::size_t readable = pa_stream_readable_size(stream_.get());
    if (readable == 0 || readable == static_cast<std::size_t>(-1))
        return;
    if (const auto missed = timeline_.arrive(readable / frameSize, clock()))
        report_.gapFilled(*missed);
    for (std::size_t done = 0; done < readable;) {
        const void* samples = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_.get(), &samples, &bytes) < 0 || bytes == 0)
            return;
        timeline_.append(static_cast<const float*>(samples), bytes / frameSize);
        pa_stream_drop(stream_.get());
        done += bytes;
    }
    const auto last = std::exchange(lastRead_, CaptureLoop::Clock::now());
    const bool waitedFor = !std::exchange(rested_, false) && lastRead_ - last > std::chrono::milliseconds(1);
    if (readable / frameSize >= missingBefore)
        restWhileBufferFills(readable / frameSize, waitedFor);
}

/// The server gives its pieces one after another, of much the same length; only the one that makes a buffer full
/// matters, and the thread should wake for it alone, just after it is there. When it came is known of a piece that was
/// waited for; the pieces after it are expected at their distance, a little earlier each time, until one is waited for
/// again.
void PulseRecording::restWhileBufferFills(std::size_t piece, bool waitedFor) {
    constexpr std::chrono::microseconds after(1000), earlier(30);
    const auto lengthOf = [this](std::size_t frames) {
        return std::chrono::microseconds(frames * PA_USEC_PER_SEC / source_.spec.rate);
    };
    const std::size_t pieces = (timeline_.framesMissing() + piece - 1) / piece;
    const auto came =
        waitedFor ? lastRead_ + after : std::clamp(expected_, lastRead_ - lengthOf(piece), lastRead_) - earlier;
    expected_ = came + lengthOf(pieces * piece);
    connection_.restUntil(expected_);
    rested_ = true;
}

} // namespace parlowen
