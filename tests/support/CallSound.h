#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <QTemporaryFile>
#include <string>

namespace parlowen::testing {

/// Sentences of the sample interview, as sound and as text. Counted from 0; after the last comes the first again.
struct Speech {
    QByteArray sound; ///< 16 kHz, mono, 16 bit, without a header
    std::string text;

    double seconds() const { return static_cast<double>(sound.size()) / 32'000; }
};
Speech sampleSpeech(int first, int count);

/// Another program that plays or records one channel, for as long as this lives.
class SoundProgram {
protected:
    /// Runs paplay or parec with these options; the default device where that is empty. It plays what is not empty.
    SoundProgram(const QString& program, const QString& device, QStringList options, const QByteArray& sound = {});
    ~SoundProgram();

    QProcess process_;

private:
    QTemporaryFile sound_;
};

/// A minute of a tone in a sink: 440 Hz, a sine of this amplitude (0 to 1).
struct PlayedTone : SoundProgram {
    PlayedTone(const QString& server, const QString& sink, double amplitude = 0.5, const QStringList& options = {});
};

/// Speech, into the server's default output unless a sink is named, by a program that others know by that name.
struct Speaker : SoundProgram {
    explicit Speaker(const QByteArray& sound, const QString& sink = {}, const QString& name = QStringLiteral("Call"));

    bool isDone() const { return process_.state() == QProcess::NotRunning; }
    /// Whether it ended because the server ended it.
    bool failed() const { return isDone() && process_.exitCode() != 0; }
};

} // namespace parlowen::testing
