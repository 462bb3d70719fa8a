#include "ServerSound.h"

#include "PrivateAudioServer.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace parlowen::testing {

namespace {

constexpr unsigned rate = 48'000;

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

} // namespace parlowen::testing
