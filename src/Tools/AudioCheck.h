#pragma once

#include <AVFoundation/AVCaptureDevice.h>
#include <Foundation/Phrase.h>

#include <QString>
#include <memory>
#include <vector>

namespace parlowen {

class AudioServer;
struct ChirpResult;

/// What a look at the machine's audio devices found: what a session would hear, and from where.
struct AudioCheck {
    struct Finding {
        enum class Kind {
            Good,
            Note,   ///< one kind of interview will not work, or differently than expected
            Problem ///< nothing can be heard
        } kind = Kind::Good;
        QString text;
        QString advice; ///< what to do; empty for what is good

        bool operator==(const Finding&) const = default;
    };
    std::vector<Finding> findings;

    /// Whether a session on the call's own sound can begin.
    bool isReady() const;
    /// One line a finding, and one for each advice, each with its line end.
    QString text(Language language) const;
    /// What keeps such a session from beginning, the advice included, on one line.
    QString problems() const;
};

/// Looks at the server's devices as they are known now.
AudioCheck checkAudio(const std::shared_ptr<AudioServer>& server, Language language,
                      AVAuthorizationStatus permission = AVCaptureDevice::authorizationStatusForAudio());

/// What came of a chirp that was played and listened for.
AudioCheck::Finding chirpFinding(const ChirpResult& result, Language language);
/// The same: a line or two, each with its line end.
QString chirpText(const ChirpResult& result, Language language);

} // namespace parlowen
