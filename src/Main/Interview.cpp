#include "Interview.h"

#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/Phrase.h>
#include <Tools/AudioCheck.h>
#include <Tools/KXAudioRouter.h>
#include <Tools/MicroManagement.h>
#include <Tools/SessionSound.h>

#include <utility>

namespace parlowen {

namespace {

constexpr Phrase computersSound{"the computer's own sound", "电脑播放的声音"};
constexpr Phrase programsSound{"what \"%1\" plays", "“%1”播放的声音"};
constexpr Phrase microphone{"the microphone", "麦克风"};
constexpr Phrase cannotBeHeard{"nothing can be heard. %1", "无法收听。%1"};

} // namespace

Interview::Interview(CommandLine commandLine, SessionReport& report, SessionSettings& settings,
                     Composition& composition, std::function<void(int)> finished)
    : SessionRun(std::move(commandLine), report, settings, composition, std::move(finished)) {
    connect(&status(), &SessionStatus::outputChosen, this, &Interview::hearWhatIsPlayed);
}

QString Interview::soundName() const {
    const Language language = terminalLanguage();
    if (!line().application.isEmpty())
        return programsSound.in(language, line().application);
    return (line().systemAudio ? computersSound : microphone).in(language);
}

CaptureSourceFactory Interview::capture() { return inputCapture(status().inputObserver()); }

AudioRouting& Interview::router() { return KXAudioRouter::shared(); }

/// Whatever devices there are at the moment: the call is heard as soon as there is something to hear it from.
void Interview::hearWhatIsPlayed(const QString& output) const { hear({true, line().application}, output); }

// A window opens whatever is missing, and can be closed. A run without one would only wait for sound that cannot come.
Result<void> Interview::prepareSound() {
    consoleLog(QStringLiteral("开始面试"));
    const AudioCheck found = checkAudio(AudioHardwareService::shared(), terminalLanguage());
    if (!found.isReady() && line().headless)
        return failure(cannotBeHeard.in(terminalLanguage(), found.problems()));
    if (line().systemAudio) {
        router().setupSystemAudio();
        hearWhatIsPlayed({});
    } else {
        MicroManagement::checkMicrophonePermission();
        router().switchInput(true);
    }
    if (!found.isReady())
        warn(cannotBeHeard.in(terminalLanguage(), found.problems()));
    return {};
}

} // namespace parlowen
