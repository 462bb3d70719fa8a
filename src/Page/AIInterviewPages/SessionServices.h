#pragma once

#include <AVFoundation/CaptureSource.h>
#include <Tools/StreamingClient.h>

namespace parlowen {

class AudioRouting;
class HttpDatas;
class ProgressHUD;
class SessionStatus;
class Settings;
class TimerManager;

/// The collaborators of a session. None is owned; all outlive the session.
struct SessionServices {
    Settings* settings = nullptr; ///< read when the session's page is created; the lists' font is written back
    HttpDatas* http = nullptr;
    TimerManager* timer = nullptr;
    AudioRouting* router = nullptr;
    CaptureSourceFactory capture;   ///< where the session's sound comes from
    StreamingEnvironment streaming; ///< for the answer requests
    ProgressHUD* hud = nullptr;
    SessionStatus* status = nullptr; ///< what is heard and recognised, for the window; may be null
};

} // namespace parlowen
