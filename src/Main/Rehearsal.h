#pragma once

#include "SessionRun.h"

#include <AVFoundation/InputStatus.h>
#include <Tools/AudioRouting.h>

namespace parlowen {

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
    void showFile(InputStatus::State state);
    void recordingEnded();

    NoAudioRouting router_;
};

} // namespace parlowen
