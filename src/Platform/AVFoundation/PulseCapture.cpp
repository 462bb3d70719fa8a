#include "PulseCapture.h"

#include "CaptureConnection.h"
#include "ChunkBuilder.h"

#include <Foundation/ConsoleLog.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace parlowen {

namespace {

constexpr std::uint32_t lowestRate = 8000;
constexpr std::uint32_t highestRate = 192000;
constexpr std::uint8_t mostChannels = 8;

struct Unref {
    void operator()(pa_stream* stream) const { pa_stream_unref(stream); }
};

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

AVAudioFormat formatOf(const pa_sample_spec& spec) {
    return *AVAudioFormat::make(AVAudioCommonFormat::Float32, spec.rate, spec.channels, true);
}

/// Every buffer limit is left to the server but the fragment: the server sends that much at a time.
pa_buffer_attr bufferAttributes(const pa_sample_spec& spec, std::uint32_t framesPerBuffer) {
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = framesPerBuffer * static_cast<std::uint32_t>(pa_frame_size(&spec));
    return attributes;
}

} // namespace

struct PulseCapture::Input {
    std::unique_ptr<CaptureConnection> connection;
    PulseSource source;
};

/// A record stream for as long as it lives; no sink call comes once it is gone.
class PulseCapture::Recording {
public:
    Recording(Input& input, std::uint32_t framesPerBuffer, Sink sink);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// Returns an error text, or none once sound is to come.
    std::optional<QString> begin();

private:
    static void onReadable(pa_stream* stream, std::size_t bytes, void* data);
    static void onState(pa_stream* stream, void* data);
    pa_stream_state_t state() const { return pa_stream_get_state(stream_.get()); }
    bool connectStream();

    CaptureConnection& connection_;
    const pa_sample_spec spec_;
    const std::uint32_t framesPerBuffer_;
    ChunkBuilder chunks_;
    std::unique_ptr<pa_stream, Unref> stream_;
    bool begun_ = false; ///< under the connection's lock
};

PulseCapture::Recording::Recording(Input& input, std::uint32_t framesPerBuffer, Sink sink)
    : connection_(*input.connection)
    , spec_(input.source.spec)
    , framesPerBuffer_(framesPerBuffer)
    , chunks_(formatOf(spec_), framesPerBuffer, std::move(sink)) {
    const CaptureConnection::Lock lock(connection_);
    stream_.reset(pa_stream_new(connection_.context(), "Interview sound", &spec_, &input.source.map));
}

PulseCapture::Recording::~Recording() {
    const CaptureConnection::Lock lock(connection_);
    if (!stream_)
        return;
    pa_stream_set_read_callback(stream_.get(), nullptr, nullptr);
    pa_stream_set_state_callback(stream_.get(), nullptr, nullptr);
    pa_stream_disconnect(stream_.get());
    stream_.reset();
}

bool PulseCapture::Recording::connectStream() {
    if (!stream_)
        return false;
    pa_stream_set_read_callback(stream_.get(), onReadable, this);
    pa_stream_set_state_callback(stream_.get(), onState, this);
    const pa_buffer_attr attributes = bufferAttributes(spec_, framesPerBuffer_);
    return pa_stream_connect_record(stream_.get(), nullptr, &attributes, PA_STREAM_ADJUST_LATENCY) == 0;
}

std::optional<QString> PulseCapture::Recording::begin() {
    const CaptureConnection::Lock lock(connection_);
    if (connectStream())
        connection_.waitFor([this] { return state() == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state()); });
    begun_ = stream_ && state() == PA_STREAM_READY;
    if (begun_)
        return std::nullopt;
    return QStringLiteral("The audio server does not let this program record: %1.").arg(connection_.lastError());
}

void PulseCapture::Recording::onReadable(pa_stream* stream, std::size_t /*bytes*/, void* data) {
    auto* self = static_cast<Recording*>(data);
    while (pa_stream_readable_size(stream) > 0) {
        const void* samples = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream, &samples, &bytes) < 0 || bytes == 0)
            return;
        self->chunks_.append(static_cast<const float*>(samples), bytes / pa_frame_size(&self->spec_));
        pa_stream_drop(stream);
    }
}

void PulseCapture::Recording::onState(pa_stream* /*stream*/, void* data) {
    auto* self = static_cast<Recording*>(data);
    if (self->begun_ && !PA_STREAM_IS_GOOD(self->state()))
        consoleLog(QStringLiteral("❌ 录音中断，音频服务已断开: %1").arg(self->connection_.lastError()));
    self->connection_.wake();
}

PulseCapture::PulseCapture() = default;

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
    return formatOf(input_->source.spec);
}

std::optional<QString> PulseCapture::start(std::uint32_t framesPerBuffer, Sink sink) {
    if (recording_)
        return QStringLiteral("The default input is being captured already.");
    std::optional<QString> error = input_ ? std::nullopt : lookUp();
    if (error)
        return error;
    recording_ = std::make_unique<Recording>(*input_, framesPerBuffer, std::move(sink));
    error = recording_->begin();
    if (error)
        stop();
    return error;
}

void PulseCapture::stop() {
    recording_.reset();
    input_.reset();
}

CaptureSourceFactory defaultInputCapture() {
    return [] { return std::make_unique<PulseCapture>(); };
}

} // namespace parlowen
