#pragma once

#include "SessionSettings.h"

#include <AVFoundation/CaptureSource.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Tools/AudioRouting.h>
#include <Tools/SessionPresence.h>
#include <Tools/SessionSound.h>
#include <Tools/SessionStatus.h>

#include <QObject>
#include <memory>
#include <optional>

namespace parlowen {

class Composition;
struct SessionServices;

/// One session in its window, on a live call with the settings as they are stored, or on a recording in English with a
/// copy of them. It deletes itself once its window is closed. Main thread only.
class LiveSession : public QObject {
    Q_OBJECT
public:
    /// Makes the window without showing it. The composition must outlive it.
    LiveSession(Composition& composition, const SessionSound& sound, QObject* parent);
    /// The same on a recorded interview, whose path it is; no audio device is touched.
    LiveSession(Composition& composition, const QString& recording, QObject* parent);

    SessionWindow* window() const { return window_.get(); }

private:
    void open(Composition& composition, SessionServices services);

    SessionStatus status_;
    SessionPresence presence_;
    std::optional<SessionSettings> choices_; ///< of a session on a recording
    NoAudioRouting noRouting_;
    std::unique_ptr<SessionWindow> window_;
};

} // namespace parlowen
