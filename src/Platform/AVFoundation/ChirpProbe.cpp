#include "ChirpProbe.h"

#include <PulseAudio/PulseClient.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace parlowen {

std::vector<float> makeChirp() {
    constexpr double rate = 16'000;
    constexpr double seconds = 0.25;
    constexpr double lowest = 500;
    constexpr double highest = 4000;
    constexpr double edge = 0.02; // seconds of fading, so that it does not click
    constexpr double peak = 0.25;
    std::vector<float> samples(static_cast<std::size_t>(rate * seconds));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double time = static_cast<double>(i) / rate;
        const double phase = 2 * std::numbers::pi * (lowest * time + (highest - lowest) * time * time / (2 * seconds));
        const double toEdge = std::min({time / edge, (seconds - time) / edge, 1.0});
        const double fade = std::sin(toEdge * std::numbers::pi / 2);
        samples[i] = static_cast<float>(peak * fade * fade * std::sin(phase));
    }
    return samples;
}

Match findSound(std::span<const float> sound, std::span<const float> recording) {
    Match best;
    const double soundEnergy = std::inner_product(sound.begin(), sound.end(), sound.begin(), 0.0);
    if (recording.size() < sound.size() || soundEnergy <= 0)
        return best;
    // Adding and taking away samples leaves a little energy in silence; below -100 dB there is no sound.
    const double silence = static_cast<double>(sound.size()) * 1e-10;
    double energy = std::inner_product(recording.begin(), recording.begin() + static_cast<std::ptrdiff_t>(sound.size()),
                                       recording.begin(), 0.0);
    for (std::size_t i = 0;; ++i) {
        const std::span<const float> part = recording.subspan(i, sound.size());
        if (energy > silence) {
            const double product = std::inner_product(sound.begin(), sound.end(), part.begin(), 0.0F);
            const double likeness = std::abs(product) / std::sqrt(soundEnergy * energy);
            if (likeness > best.likeness)
                best = {i, std::min(likeness, 1.0), std::abs(product) / soundEnergy};
        }
        if (i + sound.size() == recording.size())
            return best;
        const double leaving = part.front();
        const double coming = recording[i + sound.size()];
        energy += coming * coming - leaving * leaving;
    }
}

namespace {

constexpr std::uint32_t rate = 16'000;
constexpr pa_usec_t listensOn = PA_USEC_PER_SEC; // after the whole chirp was handed over
constexpr double leastLikeness = 0.5;
// Both channels alike, and taken together here: servers do not agree on the level of one channel made of two.
constexpr std::size_t channels = 2;
constexpr std::size_t frameSize = channels * sizeof(float);
constexpr pa_sample_spec stereoFloat{PA_SAMPLE_FLOAT32NE, rate, channels};

constexpr std::chrono::seconds patience{4};
/// Of a variable rate: an idle output would take over the chirp's.
constexpr auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_VARIABLE_RATE);

/// Everything under the client's lock.
class Probe {
public:
    Probe(PulseClient& client, const PulseEndpoint& output)
        : client_(client)
        , output_(output) {}

    ChirpResult run() {
        const PulseClient::Lock lock(client_);
        const bool done = record() && play();
        recording_.reset();
        playing_.reset();
        if (!done)
            return {QStringLiteral("the audio server did not %1: %2")
                        .arg(recorded_.empty() ? QStringLiteral("record") : QStringLiteral("play"),
                             QString::fromStdString(client_.lastError()))};
        return evaluate();
    }

private:
    struct Arrival {
        std::size_t end; ///< frames recorded up to here
        pa_usec_t time;
    };

    bool record() {
        recording_.reset(pa_stream_new(client_.context(), "Sound check", &stereoFloat, nullptr));
        if (!recording_)
            return false;
        pa_stream_set_read_callback(
            recording_.get(), [](pa_stream*, std::size_t, void* self) { static_cast<Probe*>(self)->read(); }, this);
        pa_buffer_attr attributes = unset();
        attributes.fragsize = bytes(0.01);
        if (pa_stream_connect_record(recording_.get(), output_.partner.c_str(), &attributes, flags) < 0)
            return false;
        return client_.waitFor([this] { return !recorded_.empty() || failed(recording_); }, patience) &&
               !recorded_.empty();
    }

    bool play() {
        playing_.reset(pa_stream_new(client_.context(), "Sound check", &stereoFloat, nullptr));
        if (!playing_)
            return false;
        pa_stream_set_write_callback(
            playing_.get(), [](pa_stream*, std::size_t room, void* self) { static_cast<Probe*>(self)->write(room); },
            this);
        pa_buffer_attr attributes = unset();
        attributes.tlength = bytes(0.05);
        attributes.prebuf = 0;
        if (pa_stream_connect_playback(playing_.get(), output_.name.c_str(), &attributes, flags, nullptr, nullptr) < 0)
            return false;
        // What is recorded meanwhile wakes the wait up.
        const auto over = [this] { return handedOver_ > 0 && pa_rtclock_now() > handedOver_ + listensOn; };
        return client_.waitFor([&] { return over() || failed(playing_) || failed(recording_); }, patience) && over();
    }

    void read() {
        while (pa_stream_readable_size(recording_.get()) > 0) {
            const void* data = nullptr;
            std::size_t size = 0;
            if (pa_stream_peek(recording_.get(), &data, &size) < 0 || size == 0)
                break;
            const auto* samples = static_cast<const float*>(data); // none: a gap
            for (std::size_t i = 0; i < size / sizeof(float); i += channels)
                recorded_.push_back(samples ? (samples[i] + samples[i + 1]) / 2 : 0.0F);
            pa_stream_drop(recording_.get());
        }
        arrivals_.push_back({recorded_.size(), pa_rtclock_now()});
        client_.wake();
    }

    void write(std::size_t room) {
        const std::size_t count = std::min(room / frameSize, chirp_.size() - written_);
        if (count == 0)
            return;
        if (written_ == 0)
            started_ = pa_rtclock_now();
        std::vector<float> frames;
        for (std::size_t i = written_; i < written_ + count; ++i)
            frames.insert(frames.end(), channels, chirp_[i]);
        pa_stream_write(playing_.get(), frames.data(), count * frameSize, nullptr, 0, PA_SEEK_RELATIVE);
        written_ += count;
        if (written_ == chirp_.size())
            handedOver_ = pa_rtclock_now();
    }

    ChirpResult evaluate() const {
        const Match match = findSound(chirp_, recorded_);
        if (match.likeness < leastLikeness)
            return {};
        const auto arrival = std::find_if(arrivals_.begin(), arrivals_.end(),
                                          [&match](const Arrival& one) { return one.end > match.position; });
        const double delay = static_cast<double>(arrival->time) - static_cast<double>(started_);
        // A server may hand on what it has rendered before it is heard.
        return {{}, true, 20 * std::log10(match.gain), std::max(delay, 0.0) / PA_USEC_PER_MSEC};
    }

    static bool failed(const PulseStreamHandle& stream) {
        return pa_stream_get_state(stream.get()) == PA_STREAM_FAILED;
    }

    static std::uint32_t bytes(double seconds) { return static_cast<std::uint32_t>(seconds * rate) * frameSize; }

    static pa_buffer_attr unset() {
        constexpr auto any = static_cast<std::uint32_t>(-1);
        return {any, any, any, any, any};
    }

    PulseClient& client_;
    const PulseEndpoint& output_;
    const std::vector<float> chirp_ = makeChirp();
    std::vector<float> recorded_;
    std::vector<Arrival> arrivals_;
    std::size_t written_ = 0;
    pa_usec_t started_ = 0;
    pa_usec_t handedOver_ = 0;
    PulseStreamHandle recording_;
    PulseStreamHandle playing_;
};

} // namespace

ChirpResult playAndListenForChirp() {
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    const PulseClient::StatePtr server = client->waitUntilKnown(patience);
    const PulseEndpoint* output = server->snapshot.sink(server->snapshot.defaultSink);
    if (server->phase != PulseClient::Phase::Up)
        return {QStringLiteral("there is no connection to the audio server: %1")
                    .arg(QString::fromStdString(server->problem))};
    return output ? Probe(*client, *output).run() : ChirpResult{QStringLiteral("there is no output to play into")};
}

} // namespace parlowen
