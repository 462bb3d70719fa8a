// How far apart captured chunks come, against what was asked for: 2048 frames at the device's rate, from the monitor of
// a sink on private audio servers, while the server has nothing else to do.
#include "Measure.h"

#include <AVFoundation/CaptureSource.h>
#include <PulseAudio/PulseClient.h>
#include <support/PrivateAudioServer.h>

#include <QCoreApplication>
#include <condition_variable>
#include <mutex>

namespace {

using namespace parlowen;

constexpr std::uint32_t framesAsked = 2048;
constexpr std::size_t chunks = 150;
/// The first chunks come while the server still settles its own buffers.
constexpr std::size_t settling = 10;

/// Takes the time of each chunk.
class Times {
public:
    void note() {
        const std::lock_guard lock(mutex_);
        times_.push_back(std::chrono::steady_clock::now());
        more_.notify_all();
    }

    /// Milliseconds between successive chunks; empty when they did not come within a minute.
    std::vector<double> spacings() {
        std::unique_lock lock(mutex_);
        std::vector<double> all;
        if (!more_.wait_for(lock, std::chrono::minutes(1), [this] { return times_.size() > settling + chunks; }))
            return all;
        for (std::size_t i = settling + 1; i < times_.size(); ++i)
            all.push_back(std::chrono::duration<double, std::milli>(times_[i] - times_[i - 1]).count());
        return all;
    }

private:
    std::mutex mutex_;
    std::condition_variable more_;
    std::vector<std::chrono::steady_clock::time_point> times_;
};

bool measure(const char* what, parlowen::testing::PrivateAudioServer& server) {
    if (!server.isReady()) {
        std::printf("MISS %s: the server does not start: %s\n", what, qPrintable(server.output()));
        return false;
    }
    Times times;
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(5));
    client->route()->choose({SessionRoute::What::Output});
    const std::unique_ptr<CaptureSource> source = inputCapture()();
    const std::optional<AVAudioFormat> format = source->format();
    const Result<void> started =
        source->start(framesAsked, [&times](const std::shared_ptr<AVAudioPCMBuffer>&) { times.note(); });
    if (!started || !format) {
        std::printf("MISS %s: %s\n", what, started ? "it came up late" : qPrintable(started.error()));
        return false;
    }
    const std::vector<double> spacings = times.spacings();
    source->stop();
    if (spacings.empty()) {
        std::printf("MISS %s: the chunks did not come\n", what);
        return false;
    }
    const double asked = framesAsked / format->sampleRate() * 1000;
    std::printf("%s, %.0f Hz: asked %.2f ms; median %.2f, 95%% %.2f, longest %.2f of %zu\n", what, format->sampleRate(),
                asked, bench::median(spacings), bench::percentile(spacings, 0.95), bench::percentile(spacings, 1),
                spacings.size());
    return bench::judge("spacing of chunks, 95%", bench::percentile(spacings, 0.95) / asked, 1.2, "x");
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    using parlowen::testing::PrivateAudioServer;
    using parlowen::testing::PrivatePulseAudio;
    bool met = true;
    {
        PrivatePulseAudio server;
        met = measure("PulseAudio, null sink", server) && met;
    }
    {
        PrivatePulseAudio server({QStringLiteral("module-null-sink sink_name=slow rate=44100")});
        met = measure("PulseAudio, null sink with 2 s of buffer", server) && met;
    }
    {
        PrivateAudioServer server("PipeWire", {QStringLiteral("module-null-sink sink_name=call rate=48000")});
        met = measure("PipeWire, null sink", server) && met;
    }
    return met ? 0 : 1;
}
