#pragma once

#include <Page/AIInterviewPages/SessionWindow.h>
#include <Tools/SessionPresence.h>
#include <Tools/SessionSound.h>
#include <Tools/SessionStatus.h>

#include <QObject>
#include <memory>

namespace parlowen {

class Composition;

/// One session on a live call in its window, with the settings as they are stored. It deletes itself once its window is
/// closed. Main thread only.
class LiveSession : public QObject {
    Q_OBJECT
public:
    /// Makes the window without showing it. Alerts go by themselves from now on. The composition must outlive it.
    LiveSession(Composition& composition, const SessionSound& sound, QObject* parent);

    SessionWindow* window() const { return window_.get(); }

private:
    SessionStatus status_;
    SessionPresence presence_;
    std::unique_ptr<SessionWindow> window_;
};

} // namespace parlowen
