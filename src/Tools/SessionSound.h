#pragma once

#include <AVFoundation/CaptureSource.h>

#include <QObject>
#include <QStringList>
#include <memory>

namespace parlowen {

class PulseClient;

/// What a session hears: a microphone, all that the computer plays, or what one program plays. A value.
struct SessionSound {
    bool system = false; ///< what is played, else a microphone
    QString application; ///< of what is played, only what the program of this name plays; empty for everything

    bool operator==(const SessionSound&) const = default;
};

/// From now on the captures of this process (`inputCapture`) hear that: of all that is played, the server's default
/// output, or the one of that UID. The audio server stays as it is. Any thread.
void hear(const SessionSound& sound, const QString& output = {});

/// Tells which programs play sound. Main thread only.
class PlayingPrograms : public QObject {
    Q_OBJECT
public:
    PlayingPrograms();
    ~PlayingPrograms() override;

    /// Their names for people, each once, in alphabetical order.
    const QStringList& names() const { return names_; }

Q_SIGNALS:
    void changed();

private:
    void read();

    const std::shared_ptr<PulseClient> client_;
    QStringList names_;
    std::shared_ptr<void> watch_;
};

} // namespace parlowen
