#pragma once

#include <AVFoundation/AVCaptureDevice.h>

#include <QString>
#include <memory>
#include <vector>

namespace parlowen {

class AudioServer;

/// What a look at the machine's audio devices found, in plain English for the terminal.
struct AudioCheck {
    struct Finding {
        enum class Kind {
            Good,
            Note,   ///< one kind of interview will not work, or differently than expected
            Problem ///< the call's own sound cannot be heard by the program
        } kind = Kind::Good;
        QString text;
        QString advice; ///< what to do; empty for what is good

        bool operator==(const Finding&) const = default;
    };
    std::vector<Finding> findings;

    /// Whether a session on the call's own sound can begin.
    bool isReady() const;
    /// One line a finding, and one for each advice, each with its line end.
    QString text() const;
    /// What keeps such a session from beginning, the advice included, on one line.
    QString problems() const;
};

/// Looks at the server's devices; changes nothing.
AudioCheck checkAudio(const std::shared_ptr<AudioServer>& server,
                      AVAuthorizationStatus permission = AVCaptureDevice::authorizationStatusForAudio());

} // namespace parlowen
