#pragma once

#include "PrivateAudioServer.h"

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace parlowen::testing {

/// A private PulseAudio daemon. While it lives PULSE_SERVER names it, for this process and the programs that it starts.
class PrivatePulseAudio : public PrivateAudioServer {
public:
    /// A sink without hardware, "call": 48 kHz, stereo. Its monitor is the default source.
    static QStringList oneSink();

    /// Starts the daemon with these modules, one line each: name and arguments. Ready on return, or failed.
    explicit PrivatePulseAudio(const QStringList& modules = oneSink());
    ~PrivatePulseAudio() override;
    PrivatePulseAudio(const PrivatePulseAudio&) = delete;
    PrivatePulseAudio& operator=(const PrivatePulseAudio&) = delete;

    bool isReady() const override { return ready_; }
    QString address() const override;
    QString output() override;
    void kill() override;
    bool restart() override;
    qint64 processId() const { return daemon_.processId(); }

private:
    void start();

    QTemporaryDir directory_;
    QProcess daemon_;
    bool ready_ = false;
};

/// Makes a child process end when the thread that starts it ends, whatever becomes of the test.
void endWithParent(QProcess& process);

} // namespace parlowen::testing
