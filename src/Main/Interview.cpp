#include "Interview.h"

#include <Tools/KXAudioRouter.h>
#include <Tools/MicroManagement.h>

namespace parlowen {

QString Interview::soundName() const {
    return line().systemAudio ? QStringLiteral("the computer's own sound") : QStringLiteral("the microphone");
}

CaptureSourceFactory Interview::capture() { return defaultInputCapture(); }

AudioRouting& Interview::router() { return KXAudioRouter::shared(); }

void Interview::prepareSound() {
    if (line().systemAudio) {
        router().setupSystemAudio();
        return;
    }
    MicroManagement::checkMicrophonePermission();
    router().switchInput(true);
}

} // namespace parlowen
