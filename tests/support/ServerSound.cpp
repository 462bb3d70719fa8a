#include "ServerSound.h"

#include "PrivatePulseAudio.h"
#include "WaitFor.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace parlowen::testing {

namespace {

constexpr int rate = 48'000, window = rate / 20;

QStringList arguments(const QString& server, const QString& device) {
    return {QStringLiteral("--server=") + server, QStringLiteral("--device=") + device,  QStringLiteral("--raw"),
            QStringLiteral("--format=float32le"), QStringLiteral("--rate=%1").arg(rate), QStringLiteral("--channels=1"),
            QStringLiteral("--latency-msec=50")};
}

std::vector<float> tone(double amplitude, int seconds) {
    std::vector<float> samples(static_cast<std::size_t>(rate) * static_cast<std::size_t>(seconds));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * 440 * static_cast<double>(i) / rate));
    return samples;
}

double rms(const QByteArray& bytes, qsizetype first, qsizetype count) {
    double sum = 0;
    for (qsizetype i = first; i < first + count; ++i) {
        float sample = 0;
        std::memcpy(&sample, bytes.constData() + i * qsizetype(sizeof(float)), sizeof(float));
        sum += double(sample) * double(sample);
    }
    return std::sqrt(sum / static_cast<double>(count));
}

/// The level of the first five windows in a row none of which is silent; 0 when there are none.
double levelOfSound(const QByteArray& bytes) {
    const qsizetype windows = bytes.size() / qsizetype(sizeof(float)) / window;
    int loud = 0;
    for (qsizetype i = 0; i < windows; ++i) {
        loud = rms(bytes, i * window, window) > 0.001 ? loud + 1 : 0;
        if (loud == 5) // the first one may be half silence
            return rms(bytes, (i - 3) * window, 4 * window);
    }
    return 0;
}

} // namespace

PlayedTone::PlayedTone(const QString& server, const QString& sink, double amplitude) {
    const std::vector<float> samples = tone(amplitude, 60);
    if (sound_.open()) {
        sound_.write(reinterpret_cast<const char*>(samples.data()), qint64(samples.size() * sizeof(float)));
        sound_.flush();
    }
    endWithParent(player_);
    player_.start(QStringLiteral("pacat"), arguments(server, sink)
                                               << QStringLiteral("--playback") << sound_.fileName());
}

PlayedTone::~PlayedTone() {
    player_.kill();
    player_.waitForFinished();
}

double recordedLevel(const QString& server, const QString& source, int milliseconds) {
    QProcess recorder;
    endWithParent(recorder);
    recorder.start(QStringLiteral("pacat"), arguments(server, source) << QStringLiteral("--record"));
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
