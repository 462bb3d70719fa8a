#include "CallSound.h"

#include "PrivateAudioServer.h"

#include <QFile>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <vector>

namespace parlowen::testing {

namespace {

constexpr qsizetype waveHeader = 44;
constexpr qsizetype hundredth = 160 * 2; // bytes of the sample
constexpr int pauseHundredths = 90;      // between two lines; within a line it is half of that
constexpr int silentPeak = 150;

QByteArray fileOfSample(const char* extension) {
    QFile file(QString(PARLOWEN_SOURCE_DIR "/resources/sample-interview/sample-interview.") + extension);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isSilent(const QByteArray& sound, qsizetype at) {
    std::array<std::int16_t, hundredth / 2> samples;
    std::memcpy(samples.data(), sound.constData() + at, hundredth);
    return std::all_of(samples.begin(), samples.end(), [](int sample) { return std::abs(sample) <= silentPeak; });
}

/// The sample cut in the middle of its long pauses, with the line of the text that is said in each piece.
std::vector<Speech> cutSample() {
    const QByteArray sound = fileOfSample("wav").mid(waveHeader);
    std::vector<Speech> pieces;
    qsizetype begin = 0;
    int quiet = 0;
    bool spoken = false;
    for (qsizetype at = 0; at + hundredth <= sound.size(); at += hundredth) {
        if (isSilent(sound, at)) {
            ++quiet;
            continue;
        }
        if (spoken && quiet >= pauseHundredths) {
            const qsizetype cut = at - quiet / 2 * hundredth;
            pieces.push_back({sound.mid(begin, cut - begin), {}});
            begin = cut;
        }
        quiet = 0;
        spoken = true;
    }
    pieces.push_back({sound.mid(begin), {}});
    const QByteArrayList lines = fileOfSample("txt").trimmed().split('\n');
    Q_ASSERT(std::size_t(lines.size()) == pieces.size());
    for (qsizetype i = 0; i < lines.size(); ++i)
        pieces[std::size_t(i)].text = lines[i].toStdString();
    return pieces;
}

QByteArray tone(double amplitude) {
    std::vector<float> samples(std::size_t{60} * 48'000);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * 440 * double(i) / 48'000));
    return {reinterpret_cast<const char*>(samples.data()), qsizetype(samples.size() * sizeof(float))};
}

} // namespace

Speech sampleSpeech(int first, int count) {
    static const std::vector<Speech> lines = cutSample();
    Speech speech;
    for (int i = first; i < first + count; ++i) {
        const Speech& line = lines[std::size_t(i) % lines.size()];
        speech.sound += line.sound;
        speech.text += line.text + ' ';
    }
    return speech;
}

SoundProgram::SoundProgram(const QString& program, const QString& device, QStringList options,
                           const QByteArray& sound) {
    options << "--raw"
            << "--channels=1";
    if (!device.isEmpty())
        options << "--device=" + device;
    if (!sound.isEmpty() && sound_.open() && sound_.write(sound) == sound.size() && sound_.flush())
        options << sound_.fileName();
    endWithParent(process_);
    process_.start(program, options);
}

SoundProgram::~SoundProgram() {
    process_.kill();
    process_.waitForFinished();
}

PlayedTone::PlayedTone(const QString& server, const QString& sink, double amplitude, const QStringList& options)
    : SoundProgram("paplay", sink, QStringList{"--server=" + server, "--format=float32le", "--rate=48000"} + options,
                   tone(amplitude)) {}

Speaker::Speaker(const QByteArray& sound, const QString& sink, const QString& name)
    : SoundProgram("paplay", sink,
                   {"--format=s16le", "--rate=16000", "--latency-msec=100", "--client-name=" + name,
                    "--property=application.name=" + name},
                   sound) {}

} // namespace parlowen::testing
