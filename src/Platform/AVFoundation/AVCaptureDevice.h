#pragma once

#include <functional>

namespace parlowen {

/// Whether the application may capture sound.
enum class AVAuthorizationStatus { NotDetermined = 0, Restricted = 1, Denied = 2, Authorized = 3 };

namespace AVCaptureDevice {

/// What is known of the audio server now. Authorized: it has a source that is no monitor and shows it to this process.
/// Restricted: there is none to record from. Denied: it refuses this process. NotDetermined: no server runs, or it has
/// not answered yet. Any thread; waits for nothing.
AVAuthorizationStatus authorizationStatusForAudio();

/// Asks for the right to capture sound: starts the user's audio server when none runs, so that it can decide. The
/// completion tells, on another thread, whether the application may capture now. Any thread.
void requestAccessForAudio(std::function<void(bool granted)> completion);

} // namespace AVCaptureDevice

} // namespace parlowen
