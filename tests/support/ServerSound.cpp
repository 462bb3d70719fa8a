#include "ServerSound.h"

#include "PrivateAudioServer.h"
#include "WaitFor.h"

#include <cmath>
#include <numbers>
#include <span>
#include <vector>

namespace parlowen::testing {

namespace {

constexpr unsigned rate = 48'000;
constexpr std::size_t window = rate / 20;

QStringList arguments(const QString& server, const QString& device) {
    return {"--server=" + server, "--device=" + device,           "--raw",
            "--format=float32le", QString("--rate=%1").arg(rate), "--channels=1"};
}

std::vector<float> tone(double amplitude, std::size_t seconds) {
    std::vector<float> samples(std::size_t{rate} * seconds);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * 440 * static_cast<double>(i) / rate));
    return samples;
}

double rms(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += double{sample} * double{sample};
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

/// The level of the first five windows in a row none of which is silent; 0 when there are none.
double levelOfSound(const QByteArray& bytes) {
    const std::span<const float> all(reinterpret_cast<const float*>(bytes.constData()),
                                     static_cast<std::size_t>(bytes.size()) / sizeof(float));
    int loud = 0;
    for (std::size_t first = 0; first + window <= all.size(); first += window) {
        loud = rms(all.subspan(first, window)) > 0.001 ? loud + 1 : 0;
        if (loud == 5) // the first one may be half silence
            return rms(all.subspan(first - 3 * window, 4 * window));
    }
    return 0;
}

} // namespace

PlayedTone::PlayedTone(const QString& server, const QString& sink, double amplitude, const QStringList& options) {
    const std::vector<float> samples = tone(amplitude, 60);
    if (sound_.open()) {
        sound_.write(reinterpret_cast<const char*>(samples.data()), qint64(samples.size() * sizeof(float)));
        sound_.flush();
    }
    endWithParent(player_);
    player_.start("pacat", arguments(server, sink) + options << "--playback" << sound_.fileName());
}

PlayedTone::~PlayedTone() {
    player_.kill();
    player_.waitForFinished();
}

double recordedLevel(const QString& server, const QString& source, int milliseconds) {
    QProcess recorder;
    endWithParent(recorder);
    recorder.start("pacat", arguments(server, source) << "--record"
                                                      << "--latency-msec=50");
    QByteArray recorded;
    double level = 0;
    waitFor(
        [&] {
            recorded += recorder.readAllStandardOutput();
            level = levelOfSound(recorded);
            return level > 0;
        },
        milliseconds);
    recorder.kill();
    recorder.waitForFinished();
    return level;
}

} // namespace parlowen::testing
