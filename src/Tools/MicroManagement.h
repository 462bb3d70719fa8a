#pragma once

#include <AVFoundation/AVCaptureDevice.h>

#include <QString>
#include <functional>

namespace parlowen {

/// Tells the user when the microphone cannot be used. Main thread only.
class MicroManagement {
public:
    /// What it asks and tells.
    struct Hooks {
        /// Shows the text to the user as an error, hidden again after the usual delay of a toast.
        std::function<void(const QString& text)> showError;
        std::function<AVAuthorizationStatus()> status = AVCaptureDevice::authorizationStatusForAudio;
        std::function<void()> requestAccess = [] { AVCaptureDevice::requestAccessForAudio([](bool) {}); };
    };

    /// Without hooks nothing is shown.
    static void setHooks(Hooks hooks);

    /// Looks at the permission and shows and logs what is missing. Whatever it finds, the caller goes on.
    static void checkMicrophonePermission();
};

} // namespace parlowen
