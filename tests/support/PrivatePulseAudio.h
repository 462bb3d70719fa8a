#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace parlowen::testing {

/// A PulseAudio daemon of the test's own, without hardware: own run-time directory, own socket, gone with this object.
/// While it lives PULSE_SERVER names it, for this process and the programs that it starts.
class PrivatePulseAudio {
public:
    /// A sink without hardware, "call": 48 kHz, stereo. Its monitor is the default source.
    static QStringList oneSink();

    /// Starts the daemon with these modules, one line each: name and arguments. Ready on return, or failed.
    explicit PrivatePulseAudio(const QStringList& modules = oneSink());
    ~PrivatePulseAudio();
    PrivatePulseAudio(const PrivatePulseAudio&) = delete;
    PrivatePulseAudio& operator=(const PrivatePulseAudio&) = delete;

    bool isReady() const { return ready_; }
    /// The server's address, as PULSE_SERVER has it.
    QString address() const;
    /// What the daemon has said, to explain a failure.
    QString output();
    /// Ends the daemon at once, as a crash would.
    void kill();

private:
    QTemporaryDir directory_;
    QProcess daemon_;
    bool ready_ = false;
};

/// Makes a child process end when the thread that starts it ends, whatever becomes of the test.
void endWithParent(QProcess& process);

} // namespace parlowen::testing
