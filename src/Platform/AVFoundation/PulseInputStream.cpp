#include "PulseInputStream.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr std::uint32_t lowestStreamRate = 16000, highestStreamRate = 192000, usualRate = 48000;
constexpr std::uint8_t mostChannels = 8;

} // namespace

InputShape InputShape::of(const std::optional<InputTarget>& target) {
    InputShape shape;
    shape.spec = {PA_SAMPLE_FLOAT32NE, usualRate, 2};
    if (target && pa_sample_spec_valid(&target->spec)) {
        shape.spec.rate = std::clamp(target->spec.rate, lowestStreamRate, highestStreamRate);
        if (target->spec.channels <= mostChannels) {
            shape.spec.channels = target->spec.channels;
            shape.map = target->map;
        }
    }
    if (!pa_channel_map_compatible(&shape.map, &shape.spec))
        pa_channel_map_init_extend(&shape.map, shape.spec.channels, PA_CHANNEL_MAP_DEFAULT);
    return shape;
}

AVAudioFormat InputShape::format() const {
    return *AVAudioFormat::make(AVAudioCommonFormat::Float32, spec.rate, spec.channels, true);
}

PulseInputStream::PulseInputStream(pa_context* context, InputTarget target, const InputShape& shape,
                                   std::uint32_t framesPerPiece, Hooks hooks)
    : target_(std::move(target))
    , frameSize_(pa_frame_size(&shape.spec))
    , hooks_(std::move(hooks))
    , stream_(pa_stream_new(context, "Interview sound", &shape.spec, &shape.map)) {
    if (stream_)
        connect(shape, framesPerPiece);
}

/// Every buffer limit is left to the server but the fragment: the server sends that much at a time.
void PulseInputStream::connect(const InputShape& shape, std::uint32_t framesPerPiece) {
    pa_stream_set_read_callback(
        stream_.get(),
        [](pa_stream*, std::size_t, void* self) { static_cast<PulseInputStream*>(self)->hooks_.readable(); }, this);
    pa_stream_set_state_callback(
        stream_.get(),
        [](pa_stream* stream, void* self) {
            if (pa_stream_get_state(stream) != PA_STREAM_CREATING)
                static_cast<PulseInputStream*>(self)->hooks_.changed();
        },
        this);
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = framesPerPiece * static_cast<std::uint32_t>(pa_frame_size(&shape.spec));
    const bool alone = target_.playback != PA_INVALID_INDEX;
    if (alone)
        pa_stream_set_monitor_stream(stream_.get(), target_.playback);
    // Of a variable rate, because PulseAudio lets an idle output take over the rate of any other stream.
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE | PA_STREAM_VARIABLE_RATE);
    if (pa_stream_connect_record(stream_.get(), alone ? nullptr : target_.source.c_str(), &attributes, flags) < 0)
        stream_.reset();
}

bool PulseInputStream::isReady() const { return stream_ && pa_stream_get_state(stream_.get()) == PA_STREAM_READY; }

bool PulseInputStream::isGood() const { return stream_ && PA_STREAM_IS_GOOD(pa_stream_get_state(stream_.get())); }

bool PulseInputStream::isAsleep() const { return isReady() && pa_stream_is_suspended(stream_.get()) > 0; }

std::size_t PulseInputStream::readable() const {
    const std::size_t bytes = isReady() ? pa_stream_readable_size(stream_.get()) : 0;
    return bytes == static_cast<std::size_t>(-1) ? 0 : bytes / frameSize_;
}

void PulseInputStream::read(std::size_t frames,
                            const std::function<void(const float* samples, std::size_t frames)>& take) {
    while (frames > 0) {
        const void* samples = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_.get(), &samples, &bytes) < 0 || bytes == 0)
            return;
        take(static_cast<const float*>(samples), bytes / frameSize_);
        pa_stream_drop(stream_.get());
        frames -= std::min(frames, bytes / frameSize_);
    }
}

} // namespace parlowen
