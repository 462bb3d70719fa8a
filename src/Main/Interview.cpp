#include "Interview.h"

#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Tools/AudioCheck.h>
#include <Tools/KXAudioRouter.h>
#include <Tools/MicroManagement.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/SessionInput.h>

namespace parlowen {

QString Interview::soundName() const {
    return line().systemAudio ? QStringLiteral("the computer's own sound") : QStringLiteral("the microphone");
}

CaptureSourceFactory Interview::capture() {
    return defaultInputCapture(
        [self = QPointer<Interview>(this), systemAudio = line().systemAudio](const InputNotice& notice) {
            if (const auto problem = SessionInput::problem(systemAudio, notice))
                onMain(self, [self, problem = *problem] { self->inputIsBad(problem); });
        });
}

void Interview::inputIsBad(const SessionInput::Problem& problem) {
    warn(problem.text);
    ProgressHUD::shared().error(problem.forUser);
}

AudioRouting& Interview::router() { return KXAudioRouter::shared(); }

// A window opens whatever is missing, and can be closed. A run without one would only wait for sound that cannot come.
std::optional<QString> Interview::prepareSound() {
    consoleLog(QStringLiteral("开始面试"));
    if (line().systemAudio) {
        const AudioCheck found = checkAudio(AudioHardwareService::shared(), AVAuthorizationStatus::Authorized);
        if (!found.isReady() && line().headless)
            return QStringLiteral("the call cannot be heard. ") + found.problems();
        router().setupSystemAudio();
        if (!found.isReady())
            warn(QStringLiteral("the call cannot be heard. ") + found.problems());
        return std::nullopt;
    }
    MicroManagement::checkMicrophonePermission();
    router().switchInput(true);
    return std::nullopt;
}

} // namespace parlowen
