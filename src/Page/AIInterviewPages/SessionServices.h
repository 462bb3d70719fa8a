#pragma once

#include <AVFoundation/CaptureSource.h>
#include <Tools/StreamingClient.h>

#include <QString>
#include <functional>

namespace parlowen {

class AudioRouting;
class HttpDatas;
class SessionStatus;
class Settings;
class TimerManager;

/// The collaborators of a session. None is owned; all outlive the session.
struct SessionServices {
    Settings* settings = nullptr; ///< read when the session is made; the lists' font is written back
    HttpDatas* http = nullptr;
    TimerManager* timer = nullptr;
    AudioRouting* router = nullptr;
    CaptureSourceFactory capture;              ///< where the session's sound comes from
    StreamingEnvironment streaming;            ///< for the answer requests
    std::function<void(const QString&)> toast; ///< a short word to the user; may be empty
    SessionStatus* status = nullptr;           ///< what is heard and recognised, for those who show it; may be null
};

} // namespace parlowen
