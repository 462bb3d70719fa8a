#pragma once

#include "SessionRun.h"

#include <Tools/AudioRouting.h>

#include <QPointer>

namespace parlowen {

/// What a session on a recording hears, which its status then shows. `ended` is called on the main thread once all of
/// it has been heard, unless the context is gone by then. The status outlives the context.
CaptureSourceFactory recordedCapture(const QString& file, SessionStatus& status, QPointer<QObject> context,
                                     std::function<void()> ended);

/// The sample interview (WAV, English) that comes with the program; empty where it is missing.
QString sampleInterview();

/// A session on a recorded interview instead of a call. It ends with the recording, and touches no audio device.
class Rehearsal : public SessionRun {
public:
    using SessionRun::SessionRun;

protected:
    QString soundName() const override;
    Result<void> checkSound() const override;
    CaptureSourceFactory capture() override;
    AudioRouting& router() override { return router_; }
    bool endsByItself() const override { return true; }

private:
    NoAudioRouting router_;
};

} // namespace parlowen
