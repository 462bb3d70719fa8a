#include "CallSound.h"

#include "PrivateAudioServer.h"
#include <QFile>

namespace parlowen::testing {

namespace {

QByteArray fileOfSample(const char* extension) {
    QFile file(QString(PARLOWEN_SOURCE_DIR "/resources/sample-interview/sample-interview.") + extension);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The sample cut in the middle of its long pauses, with the line of the text that is said in each piece.
std::vector<Speech> cutSample() {
    constexpr qsizetype cuts[] = {0, 268'800, 485'440, 711'680, 920'000, 1'159'680, 1'370'400}; // bytes
    const QByteArray sound = fileOfSample("wav").mid(44);
    const QByteArrayList lines = fileOfSample("txt").trimmed().split('\n');
    Q_ASSERT(sound.size() == cuts[6] && lines.size() == 6);
    std::vector<Speech> pieces;
    for (qsizetype i = 0; i < lines.size(); ++i)
        pieces.push_back({sound.mid(cuts[i], cuts[i + 1] - cuts[i]), lines[i].toStdString()});
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
