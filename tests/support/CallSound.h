#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
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

/// Another program that plays speech, into the server's default output unless a sink is named.
class Speaker {
public:
    /// The name is what other programs know this one by.
    explicit Speaker(const QByteArray& sound, const QString& sink = {}, const QString& name = QStringLiteral("Call"));
    ~Speaker();
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;

    bool isDone() const { return process_.state() == QProcess::NotRunning; }
    /// Whether it ended because the server ended it.
    bool failed() const { return isDone() && process_.exitCode() != 0; }

private:
    QTemporaryFile sound_;
    QProcess process_;
};

/// The meeting client's side of a call: it records a microphone that a tone of 440 Hz comes out of (PlayedTone), for as
/// long as it lives.
class MeetingClient {
public:
    /// Records the default source unless one is named.
    explicit MeetingClient(const QString& source = {});
    ~MeetingClient();
    MeetingClient(const MeetingClient&) = delete;
    MeetingClient& operator=(const MeetingClient&) = delete;

    /// Tenths of a second since the tone was first there.
    struct Recorded {
        int all = 0;
        int withoutTone = 0; ///< the tone is away or less than half as loud as at first
        int withMore = 0;    ///< there is something beside the tone, louder than -40 dB
    };
    Recorded recorded();

private:
    QProcess process_;
    QByteArray bytes_;
};

} // namespace parlowen::testing
